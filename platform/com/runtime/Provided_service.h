#pragma once

#include <memory>
#include <mutex>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

class Process_runtime;

/// Takes the calls of one provided service: the dispatcher's side of a Provided_service.
class Call_taker {
public:
    virtual ~Call_taker() = default;

    /// `keep` has to live until the call has been handled: the carrier counts the call as outstanding as
    /// long. Never blocks. io thread.
    virtual void take(unsigned short method, ac::com::cpp_binding::skeleton::Reply_function const& reply,
                      Serialized_payload const& payload, std::shared_ptr<void> const& keep) = 0;
};

/// One instance of a service that this process can offer: where a Pport, its dispatcher and the carriers
/// meet. Owned by the port, and by the runtime's tables as long as the offer stands.
class Provided_service {
public:
    Provided_service(std::shared_ptr<Process_runtime> runtime, Service_deployment const& deployment)
        : m_runtime(std::move(runtime)), m_deployment(deployment) {}

    Process_runtime& runtime() const noexcept { return *m_runtime; }
    Service_deployment const& deployment() const noexcept { return m_deployment; }

    /// Any thread. Null takes the present one away.
    void connect(std::shared_ptr<Call_taker> taker);

    /// Hands a call on, or answers it with E_NOT_READY when nobody takes calls. io thread.
    void deliver(unsigned short method, ac::com::cpp_binding::skeleton::Reply_function const& reply,
                 Serialized_payload const& payload, std::shared_ptr<void> const& keep);

private:
    std::shared_ptr<Process_runtime> const m_runtime;
    Service_deployment const& m_deployment;  // the runtime's
    std::mutex m_mutex;
    std::shared_ptr<Call_taker> m_taker;  // guarded by m_mutex
};

}  // namespace eb::com::runtime
