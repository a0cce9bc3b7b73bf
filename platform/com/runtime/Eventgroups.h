#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// What became of another process's wish to hear an eventgroup.
enum class Subscribe_result : std::uint8_t {
    accepted,
    notOffered,    ///< the instance isn't offered by this process
    noEventgroup,  ///< the instance has no such eventgroup
    noConnection,  ///< tcp: no connection from that address stands at the service's endpoint; it may just not
                   ///< have been accepted yet, so the next try can succeed
    wrongTransport,  ///< the service's events leave by the other transport
    tooMany,         ///< as many subscribers as limits.connections
};

/// The publisher's side of eventgroups: who in other processes hears the events that this process sends.
/// Implemented by the runtime, used by discovery. io thread.
///
///     unknown --subscribe, accepted--> subscribed --unsubscribe, its connection gone, offer withdrawn-->
///     unknown
class Eventgroups {
public:
    virtual ~Eventgroups() = default;

    /// Every event of the group goes to `subscriber` from now on. Again for one that is subscribed already,
    /// it only says so.
    virtual Subscribe_result subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                                       Endpoint const& subscriber) = 0;
    /// Sends the present value of each field of the group to one subscriber: to be called after a new
    /// subscription was acknowledged.
    virtual void sendInitial(Service_deployment const& service, std::uint16_t eventgroup,
                             Endpoint const& subscriber) = 0;
    virtual void unsubscribe(Service_deployment const& service, std::uint16_t eventgroup,
                             Endpoint const& subscriber) = 0;
    /// How many other processes hear the group.
    virtual std::size_t subscribers(Service_deployment const& service, std::uint16_t eventgroup) const = 0;
};

}  // namespace eb::com::runtime
