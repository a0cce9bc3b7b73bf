#include "platform/com/testing/Held_service.h"

#include <utility>

#include "platform/com/testing/Hostile_frames.h"

namespace eb::com::runtime::testing {
namespace {

using ac::com::cpp_binding::skeleton::Method_call_id;
using ac::com::cpp_binding::skeleton::Reply_function;

/// The runtime of the process becomes this program's.
ac::com::runtime::Component_singleton adopt(Fake_process& process) {
    makeRuntimesBy([runtime = process.shared()] { return runtime; });
    struct Reset {
        ~Reset() { makeRuntimesBy(nullptr); }
    } const reset;
    return {false, ""};
}

}  // namespace

void Held_processor::post(std::function<void()>&& call) {
    std::lock_guard lock(m_mutex);
    m_calls.push_back(std::move(call));
}

void Held_processor::wait() {
    run();
}

std::size_t Held_processor::run(std::size_t count) {
    for (std::size_t done = 0; done < count; ++done) {
        std::function<void()> call;
        {
            std::lock_guard lock(m_mutex);
            if (m_calls.empty()) return done;
            call = std::move(m_calls.front());
            m_calls.pop_front();
        }
        call();
    }
    return count;
}

std::size_t Held_processor::size() const {
    std::lock_guard lock(m_mutex);
    return m_calls.size();
}

Held_service::Held_service(Fake_process& process, std::string const& interface)
    : m_runtime(adopt(process)),
      m_port({interface}, {"1"}, {0x20000}),
      m_dispatcher(m_port, std::unique_ptr<Held_processor>(m_processor)) {
    m_dispatcher.add_method(
        FAKE_ECHO, [this](Method_call_id, Reply_function const& reply, Serialized_payload const& request) {
            ++m_echoes;
            reply(0, request);
        });
    m_dispatcher.add_method(FAKE_HOLD, [this](Method_call_id, Reply_function const& reply,
                                              Serialized_payload const&) { m_held.push_back(reply); });
    m_dispatcher.start();
    m_port.start_offer();
}

Held_service::~Held_service() {
    m_port.stop_offer();
    m_dispatcher.stop();
}

void Fake_caller::call(Fake_method method, int calls, std::size_t bytes) {
    for (int count = 0; count < calls; ++count) {
        someip::Header header = hostileHeader(FAKE_TCP_ID);
        header.method = static_cast<std::uint16_t>(method + 1);
        header.session = ++m_session;
        m_channel->send(someip::encode(header, std::vector<std::uint8_t>(bytes, 0x5A)));
    }
}

std::vector<std::uint8_t> Fake_caller::answers() {
    auto const bytes = m_channel->stream();
    m_reader.feed(bytes.data(), bytes.size());
    someip::Frame frame;
    while (m_reader.next(frame) == someip::Frame_reader::Found::frame) m_answers.push_back(frame.header.code);
    return m_answers;
}

}  // namespace eb::com::runtime::testing
