#include "servers/test/Vehicle.h"

#include <algorithm>
#include <cctype>
#include <chrono>

#include "binding/adapter/Platform_adapter.h"
#include "registry/Diag_Ara_Components_Services.h"
#include "tests/support/Patience.h"

namespace server_test {

namespace services = zvg::val::diag_ara::services;

namespace {

using test::PATIENCE;

// The components of the present registration, by their keys. Filled on the registering thread.
std::map<std::string, services::Runnable*>& live() {
    static std::map<std::string, services::Runnable*> components;
    return components;
}

// Has the product's factories tell what they make. Before the first bridge copies the table.
void watchFactories() {
    static bool const once = [] {
        for (auto& [key, factory] : services::Diag_Ara_Components_Services::getServices()) {
            factory = [key = key, make = factory] {
                auto made = make();
                live()[key] = made.get();
                return made;
            };
        }
        return true;
    }();
    static_cast<void>(once);
}

}  // namespace

zvg::val::eValStatus deliver(services::Runnable& component, int msgId, Bytes const& payload) {
    // On the heap and not a byte longer, so that a reader who goes too far is caught.
    std::unique_ptr<unsigned char[]> const bytes(new unsigned char[payload.size()]);
    std::copy(payload.begin(), payload.end(), bytes.get());
    return component.handleMsg(msgId, static_cast<unsigned short>(payload.size()), bytes.get());
}

void Call::answer(eb::com::runtime::Call_result const& result) {
    std::lock_guard const lock(m_mutex);
    ++m_answers;
    m_result = result;
    m_changed.notify_all();
}

bool Call::answered() const {
    return answers() != 0;
}

int Call::answers() const {
    std::lock_guard const lock(m_mutex);
    return m_answers;
}

bool Call::await() const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, PATIENCE, [this] { return m_answers != 0; });
}

int Call::returnCode() const {
    std::lock_guard const lock(m_mutex);
    bool const carried = m_answers != 0 && m_result.outcome == eb::com::runtime::Call_outcome::answered;
    return carried ? m_result.return_code : -1;
}

Bytes Call::payload() const {
    std::lock_guard const lock(m_mutex);
    return m_result.payload.bytes();
}

void Vehicle::SetUp() {
    watchFactories();
    registerJava();
}

void Vehicle::TearDown() {
    java.unregister();
    live().clear();
    m_ports.clear();
    EXPECT_THAT(jvm.violations(), testing::IsEmpty());
}

services::Runnable& Vehicle::component(std::string const& key) {
    return *live().at(key);
}

std::shared_ptr<Call> Vehicle::call(std::string const& interface, unsigned short method, Bytes request,
                                    std::function<void()> onAnswer) {
    using namespace eb::com::runtime;
    auto call = std::make_shared<Call>();
    std::shared_ptr<Client_port> port;
    {
        std::lock_guard const lock(m_mutex);
        auto& end = m_ports[interface];
        if (!end) {
            end = std::make_unique<ac::com::cpp_binding::proxy::Rport>(
                Service_handle{{interface}, {"1"}}, Service_interface_description{0x00020000});
        }
        port = end->client_port();
    }
    ac::com::cpp_binding::adapter::call(*port, method,
                                        Serialized_payload(std::make_shared<Bytes const>(std::move(request))),
                                        [call, onAnswer = std::move(onAnswer)](Call_result const& result) {
                                            call->answer(result);
                                            if (onAnswer) onAnswer();
                                        });
    return call;
}

// A line reads 12:34:56|4711|SOURCE120::function() text; a component's source ends in "::" itself.
std::vector<Line> Vehicle::linesOf(std::string const& source) {
    std::vector<Line> lines;
    for (ara::log::Message const& message : log.messages("DIAG")) {
        std::string const& all = message.text;
        std::size_t const end = all.find("() ");
        if (end == std::string::npos) continue;
        std::size_t const function = all.rfind("::", end);
        std::size_t const begin = all.rfind('|', end);
        if (function == std::string::npos || begin == std::string::npos ||
            all.compare(begin + 1, source.size(), source) != 0)
            continue;
        EXPECT_NE(std::isdigit(static_cast<unsigned char>(all[function - 1])), 0) << all;
        EXPECT_EQ(all.back(), '\n');
        lines.push_back({message.level, all.substr(function + 2, end - function - 2),
                         all.substr(end + 3, all.size() - end - 4)});
    }
    log.clear();
    return lines;
}

}  // namespace server_test
