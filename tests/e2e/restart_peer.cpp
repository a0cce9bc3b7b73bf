// One side of a service, small enough to be killed and started again hundreds of times. Ends with its
// standard input.
//
//   restart_peer serve NUMBER   offers the data distribution service, whose field has that number as its
//   value; says
//                               "offered"
//   restart_peer offer          offers data identifier 0x54DF, which answers no call; prints "offered"
//   restart_peer call           calls and subscribes there: for each line of its input one call, and the line
//                               "answered", or why it wasn't; "sample NUMBER" whenever the field's value
//                               comes
//   restart_peer read           the same with data identifier 0x54DF and without a subscription

#include <condition_variable>
#include <cstdint>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/runtime/Component_singleton.h>

#include "binding/adapter/Platform_adapter.h"

namespace {

using eb::com::runtime::Call_outcome;
using eb::com::runtime::Call_result;
using eb::com::runtime::Serialized_payload;

constexpr char const* DISTRIBUTION = "zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution";
constexpr char const* PARAMETERS = "zvg::services::diag::d_54df::DataIdentifier_ParameterList";
constexpr unsigned short GET_DATA = 1;
constexpr unsigned short HASH = 0;
constexpr unsigned short READ = 1;

void say(std::string const& line) {
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    std::cout << line << std::endl;
}

/// Runs each call on a thread of its own. Posting waits for none of them, since their replies need the thread
/// that posts.
class Own_thread : public ac::com::cpp_binding::skeleton::detail::Method_processor {
public:
    ~Own_thread() override { wait(); }
    void post(std::function<void()>&& call) override {
        std::lock_guard lock(m_mutex);
        ++m_running;
        std::thread([this, run = std::move(call)] {
            run();
            std::lock_guard const ended(m_mutex);
            --m_running;
            m_changed.notify_all();
        }).detach();
    }
    void wait() override {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_running == 0; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned m_running = 0;  // guarded by m_mutex
};

int serve(std::string const& number) {
    ac::com::cpp_binding::skeleton::Pport port({DISTRIBUTION}, {"1"}, {0x30001});
    ac::com::cpp_binding::skeleton::Method_dispatcher dispatcher(port, std::make_unique<Own_thread>());
    dispatcher.add_method(GET_DATA, [](std::uint64_t, auto const& reply, Serialized_payload const& request) {
        if (reply) reply(0, request);
    });
    dispatcher.start();
    port.send_event(
        HASH, Serialized_payload(std::make_shared<std::vector<unsigned char>>(number.begin(), number.end())));
    port.start_offer();
    say("offered");
    for (std::string line; std::getline(std::cin, line);) {
    }
    port.stop_offer();
    dispatcher.stop();
    return 0;
}

int offer() {
    ac::com::cpp_binding::skeleton::Pport port({PARAMETERS}, {"1"}, {0x30001});
    ac::com::cpp_binding::skeleton::Method_dispatcher dispatcher(port, std::make_unique<Own_thread>());
    dispatcher.start();
    port.start_offer();
    say("offered");
    for (std::string line; std::getline(std::cin, line);) {
    }
    port.stop_offer();
    dispatcher.stop();
    return 0;
}

class Sink : public eb::com::runtime::Event_sink {
public:
    void event_updated(Serialized_payload payload) override {
        say("sample " + std::string(payload.bytes().begin(), payload.bytes().end()));
    }
    void event_state_changed(eb::com::runtime::Event_state) override {}
    void service_state_changed(eb::com::runtime::Client::Service_state) override {}
};

int call(char const* interface, unsigned short method, bool subscribes) {
    ac::com::cpp_binding::proxy::Rport const rport({{interface}, {"1"}}, {0});
    auto const sink = std::make_shared<Sink>();
    auto const port = rport.client_port();
    auto const subscription = subscribes ? port->subscribe(HASH, sink) : nullptr;
    for (std::string line; std::getline(std::cin, line);) {
        auto const emptyMap = std::make_shared<std::vector<unsigned char>>(4);
        ac::com::cpp_binding::adapter::call(
            *port, method, Serialized_payload(emptyMap), [](Call_result const& result) {
                bool const good = result.outcome == Call_outcome::answered && result.return_code == 0;
                say(good ? "answered" : "not answered: " + result.detail);
            });
    }
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    std::vector<std::string> const arguments(argv + 1, argv + argc);
    ac::com::runtime::Component_singleton const runtime(false, "restart_peer");
    if (arguments.size() == 2 && arguments[0] == "serve") return serve(arguments[1]);
    if (arguments == std::vector<std::string>{"offer"}) return offer();
    if (arguments == std::vector<std::string>{"call"}) return call(DISTRIBUTION, GET_DATA, true);
    if (arguments == std::vector<std::string>{"read"}) return call(PARAMETERS, READ, false);
    std::cerr << "usage: restart_peer serve NUMBER | offer | call | read\n";
    return 2;
}
