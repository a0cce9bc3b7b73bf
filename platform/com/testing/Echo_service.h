#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/runtime/Component_singleton.h>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime::testing {

/// Runs calls one after another on a thread of its own.
class Worker : public ac::com::cpp_binding::skeleton::detail::Method_processor {
public:
    Worker();
    ~Worker() override;
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;

    void post(std::function<void()>&& call) override;
    void wait() override;

private:
    void work();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_calls;  // guarded by m_mutex
    bool m_busy = false;                        // guarded by m_mutex
    bool m_ended = false;                       // guarded by m_mutex
    std::thread m_thread;
};

/// Services that both carry the same methods, "test::Tcp" (0x1001) and "test::Udp" (0x1002), version 2.0.
constexpr std::uint16_t TCP_SERVICE = 0x1001;
constexpr std::uint16_t UDP_SERVICE = 0x1002;

/// Methods: the number is the index, the id on the wire is one more.
enum Method : unsigned short { BIG = 0, ECHO, FAIL, HOLD, NEVER, THROW, UNHANDLED };
constexpr std::uint16_t wire(Method method) {
    return static_cast<std::uint16_t>(method + 1);
}

/// The manifest of these services at one address, with the text of a "limits" object.
std::string manifest(Address const& address, std::string const& limits = "{}");

/// The process's runtime, from a manifest's text.
std::unique_ptr<ac::com::runtime::Component_singleton> makeRuntime(std::string const& manifest);

/// One of the services, offered by the process's runtime. Big answers as many bytes as the number in its
/// request says, Echo its request, Fail code 2 with one byte, Never nothing at all; Hold keeps the reply
/// for the test; Throw throws; Unhandled has no handler.
class Echo_service {
public:
    explicit Echo_service(std::string const& interface);
    ~Echo_service();
    Echo_service(Echo_service const&) = delete;
    Echo_service& operator=(Echo_service const&) = delete;

    std::vector<ac::com::cpp_binding::skeleton::Reply_function> takeHeld();
    std::size_t held() const;

    ac::com::cpp_binding::skeleton::Pport port;
    ac::com::cpp_binding::skeleton::Method_dispatcher dispatcher;

private:
    mutable std::mutex m_mutex;
    std::vector<ac::com::cpp_binding::skeleton::Reply_function> m_held;  // guarded by m_mutex
};

}  // namespace eb::com::runtime::testing
