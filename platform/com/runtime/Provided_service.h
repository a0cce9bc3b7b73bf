#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

class Call_source;
class Process_runtime;
class Session;

/// Takes the calls of one provided service: the dispatcher's side of a Provided_service.
class Call_taker {
public:
    virtual ~Call_taker() = default;

    /// `session` has to live until the call has been handled: the carrier counts the call as outstanding as
    /// long. It hears when the call begins. Never blocks. io thread.
    virtual void take(unsigned short method, ac::com::cpp_binding::skeleton::Reply_function reply,
                      Serialized_payload const& payload, std::shared_ptr<Session> session) = 0;

    /// Drops the calls of a source that have not begun: no peer waits for them any more. Any thread.
    virtual void forget(Call_source const& source) = 0;
};

/// One instance of a service that this process can offer: where a Pport, its dispatcher and the carriers
/// meet. Owned by the port, and by the runtime's tables as long as the offer stands.
class Provided_service : public std::enable_shared_from_this<Provided_service> {
public:
    Provided_service(std::shared_ptr<Process_runtime> runtime, Service_deployment const& deployment)
        : m_runtime(std::move(runtime)), m_deployment(deployment), m_values(deployment.events.size()) {}

    Process_runtime& runtime() const noexcept { return *m_runtime; }
    Service_deployment const& deployment() const noexcept { return m_deployment; }

    /// Any thread. Null takes the present one away.
    void connect(std::shared_ptr<Call_taker> taker);

    /// Hands a call on, or answers it with E_NOT_READY when nobody takes calls. io thread.
    void deliver(unsigned short method, ac::com::cpp_binding::skeleton::Reply_function reply,
                 Serialized_payload const& payload, std::shared_ptr<Session> session);
    /// The source has ended: its calls that have not begun are dropped. io thread.
    void forget(Call_source const& source);

    /// Hands an event to the io thread, which sends it and keeps the value of a field. Never blocks; a
    /// publisher that is quicker than the io thread loses the oldest samples that wait. One that is longer
    /// than a message may be is logged and dropped. Throws Invalid_argument_exception for an event that the
    /// deployment doesn't have. Any thread.
    void send(unsigned short event, Serialized_payload const& payload);

    /// A field's present value, nothing for an event that is none. io thread.
    std::optional<Serialized_payload> value(unsigned short event) const;

private:
    std::shared_ptr<Call_taker> taker() const;

    struct Sample {
        unsigned short event;
        Serialized_payload payload;
    };
    void flush();
    void keep(Sample const& sample);

    std::shared_ptr<Process_runtime> const m_runtime;
    Service_deployment const& m_deployment;  // the runtime's
    mutable std::mutex m_mutex;
    std::shared_ptr<Call_taker> m_taker;                      // guarded by m_mutex
    std::deque<Sample> m_outbox;                              // guarded by m_mutex
    std::size_t m_outboxBytes = 0;                            // guarded by m_mutex
    std::vector<std::optional<Serialized_payload>> m_values;  // guarded by m_mutex
};

}  // namespace eb::com::runtime
