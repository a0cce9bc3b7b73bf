#pragma once

#include <memory>

#include <ara/log/Logger.h>
#include <eb/com/runtime/Ids.h>
#include <eb/com/runtime/Serialized_payload.h>

namespace ac::com::cpp_binding::skeleton {

/// The provided port: one instance of a service that this process offers.
class ARA_API Pport {
public:
    /// Throws Invalid_argument_exception, naming interface and instance, if the deployment doesn't know them,
    /// and Infrastructure_exception if no runtime exists.
    Pport(eb::com::runtime::Service_id service, eb::com::runtime::Instance_id instance,
          eb::com::runtime::Service_interface_description description);
    /// Withdraws the offer if it still stands.
    ~Pport();
    Pport(Pport const&) = delete;
    Pport& operator=(Pport const&) = delete;

    /// Makes the service reachable on its carriers. Throws Invalid_argument_exception with the address if an
    /// endpoint can't be bound. Never calls back on the caller's thread.
    void start_offer();

    /// Withdraws the offer: no new calls are taken from any carrier afterwards. Calls that were taken keep
    /// their reply function. Without an offer it does nothing.
    void stop_offer();

    /// Sends an event to everybody who is subscribed, in this process and in others. A field's value is kept,
    /// also before the offer, and given to whoever subscribes later; an event that nobody hears is gone.
    /// Never blocks: a subscriber that doesn't read loses its connection. `event_id` counts the interface's
    /// events from 0 in alphabetical order; an unknown one throws Invalid_argument_exception. Any thread.
    void send_event(unsigned short event_id, eb::com::runtime::Serialized_payload const& payload);

    eb::com::runtime::Service_id const& service_id() const noexcept { return m_service; }
    eb::com::runtime::Instance_id const& instance_id() const noexcept { return m_instance; }

private:
    friend class Method_dispatcher;
    friend struct Pport_access;  // opens the port to tests
    struct Core;

    eb::com::runtime::Service_id m_service;
    eb::com::runtime::Instance_id m_instance;
    std::shared_ptr<Core> m_core;
};

}  // namespace ac::com::cpp_binding::skeleton
