#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <eb/com/runtime/Client_port.h>
#include <eb/com/runtime/Service_finder.h>

#include "platform/com/deployment/Deployment.h"
#include "platform/report/Runtime_report.h"

namespace eb::com::runtime {

class Eventgroups;

/// The runtime's clients, as the directory tells them. Called on the io thread, also from inside a call of
/// the directory.
class Directory_listener {
public:
    virtual ~Directory_listener() = default;

    /// `locate` or `isOffered` says something else of the instance from now on: it is offered, or no longer,
    /// or its publisher started again.
    virtual void locationChanged(Service_deployment const& service) = 0;

    /// The publisher of an instance in another process was heard to offer it there, for the first time or
    /// again.
    virtual void heardAt(Endpoint const& endpoint) = 0;

    /// Where a subscription that was asked for stands now: acknowledged (subscribed), refused by its
    /// publisher (not_subscribed), or not acknowledged in time (pending).
    virtual void subscriptionChanged(Service_deployment const& service, std::uint16_t eventgroup,
                                     Event_state state) = 0;
};

/// Where services are to be had, and who is told of it.
class Directory : public Service_finder {
public:
    /// Begins, before anything else, with those who live longer. What it throws ends the runtime's start.
    /// io thread.
    virtual void start(Directory_listener& /*clients*/, Eventgroups& /*publisher*/) {}
    /// The runtime ends: says goodbye and frees all sockets and timers. Called once, also after a start that
    /// threw. io thread.
    virtual void end() {}

    /// Where a call to an instance goes now; nothing if nobody is known to offer it. io thread.
    virtual std::optional<Endpoint> locate(Service_deployment const& service) const = 0;
    /// Whether the instance counts as available for clients. Any thread.
    virtual bool isOffered(Service_deployment const& service) const = 0;

    /// As long as the result lives, this process wants to know where the instance is. Any thread.
    virtual std::shared_ptr<void> want(Service_deployment const& /*service*/) { return {}; }

    /// This process offers an instance, or no longer. io thread.
    virtual void offered(Service_deployment const& service) = 0;
    virtual void withdrawn(Service_deployment const& service) = 0;

    /// Asks the publisher of an instance in another process for an eventgroup, and goes on asking (after a
    /// refusal too) until `unsubscribe`. `local` is where the notifications shall arrive: this end of the
    /// connection to the publisher, which stands already (tcp), or of the socket that reads them (udp). The
    /// answer comes to Directory_listener::subscriptionChanged. One subscription for all of this process, and
    /// never one for an instance that the process offers itself. io thread.
    virtual void subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                           Endpoint const& local) = 0;
    /// Ends it; nothing is told of it afterwards. io thread.
    virtual void unsubscribe(Service_deployment const& service, std::uint16_t eventgroup) = 0;
    using Service_finder::subscribe;

    /// A subscriber that Eventgroups accepted has gone with its connection. io thread.
    virtual void subscriberGone(Service_deployment const& /*service*/, std::uint16_t /*eventgroup*/,
                                Endpoint const& /*subscriber*/) {}

    /// The runtime has accepted a connection from that address where some of its services are offered. io
    /// thread.
    virtual void connected(Endpoint const& /*at*/, Address const& /*peer*/) {}

    /// Fills in what discovery knows; `instances` are there already, in the deployment's order. io thread.
    virtual void report(Runtime_report& report) const = 0;
};

}  // namespace eb::com::runtime
