#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/runtime/Component_singleton.h>

#include "platform/com/testing/Fake_peer.h"
#include "platform/com/testing/Fake_process.h"

namespace eb::com::runtime::testing {

/// A processor whose turns begin on the test's command. `wait` begins those that are left.
class Held_processor : public ac::com::cpp_binding::skeleton::detail::Method_processor {
public:
    void post(std::function<void()>&& call) override;
    void wait() override;
    /// Runs the oldest turns on the calling thread. How many there were.
    std::size_t run(std::size_t count = SIZE_MAX);
    std::size_t size() const;

private:
    mutable std::mutex m_mutex;
    std::deque<std::function<void()>> m_calls;  // guarded by m_mutex
};

/// A service of a Fake_process behind a real dispatcher. Echo answers its request, Hold keeps the reply until
/// the service ends.
class Held_service {
public:
    Held_service(Fake_process& process, std::string const& interface);
    ~Held_service();
    Held_service(Held_service const&) = delete;
    Held_service& operator=(Held_service const&) = delete;

    Held_processor& processor() const { return *m_processor; }
    ac::com::cpp_binding::skeleton::Method_dispatcher& dispatcher() { return m_dispatcher; }
    int echoes() const { return m_echoes; }
    std::vector<ac::com::cpp_binding::skeleton::Reply_function>& held() { return m_held; }

private:
    ac::com::runtime::Component_singleton m_runtime;
    Held_processor* const m_processor = new Held_processor;  // the dispatcher's
    ac::com::cpp_binding::skeleton::Pport m_port;
    ac::com::cpp_binding::skeleton::Method_dispatcher m_dispatcher;
    int m_echoes = 0;  // handlers run on the test's thread
    std::vector<ac::com::cpp_binding::skeleton::Reply_function> m_held;
};

/// A peer's stream to a service: calls it, reads what comes back.
class Fake_caller {
public:
    Fake_caller(Fake_peer& peer, Endpoint const& remote) : m_channel(peer.connect(remote)) {}

    /// Calls with payloads of that size, numbered by session from 1 on.
    void call(Fake_method method, int calls, std::size_t bytes = 2);
    /// The codes of all answers so far.
    std::vector<std::uint8_t> answers();
    Fake_channel& channel() const { return *m_channel; }

private:
    std::shared_ptr<Fake_channel> m_channel;
    someip::Frame_reader m_reader{1U << 20U};
    std::vector<std::uint8_t> m_answers;
    std::uint16_t m_session = 0;
};

}  // namespace eb::com::runtime::testing
