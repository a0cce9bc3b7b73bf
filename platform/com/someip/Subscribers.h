#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Eventgroups.h"
#include "platform/com/someip/Server_connection.h"

namespace eb::com::runtime::someip {

/// Who in other processes hears the events of one endpoint's services, by eventgroup and address.
/// Notifications to each subscriber are numbered from 1 for each event, so that he can see what he missed.
/// Owned by the endpoint. io thread.
class Subscribers {
public:
    /// Told of a subscriber whose connection has closed.
    using Gone = std::function<void(std::uint16_t service, std::uint16_t eventgroup, Address const&)>;

    Subscribers(Limits const& limits, Gone gone) : m_limits(limits), m_gone(std::move(gone)) {}

    /// False if the group has as many subscribers as it may. One that is there stays as he is.
    bool add(std::uint16_t service, std::uint16_t eventgroup, Address const& address,
             std::shared_ptr<Server_connection> const& connection);
    void remove(std::uint16_t service, std::uint16_t eventgroup, Address const& address);
    void removeAll(std::uint16_t service);
    void removeAll(Server_connection const& connection);
    void clear() { m_groups.clear(); }
    std::size_t count(std::uint16_t service, std::uint16_t eventgroup) const;

    /// To all of the event's group.
    void notify(Service_deployment const& service, Event_deployment const& event,
                Serialized_payload const& payload);
    /// To one of them.
    void notify(Service_deployment const& service, Event_deployment const& event,
                Serialized_payload const& payload, Address const& address);

private:
    using Group = std::pair<std::uint16_t, std::uint16_t>;  // ids of service and eventgroup
    struct Subscriber {
        std::weak_ptr<Server_connection> connection;
        std::shared_ptr<void> held;                       // the connection's mark that it has subscribers
        std::map<std::uint16_t, std::uint16_t> sessions;  // by the event's id; the last that was sent
        Counted counted{counters().subscribers};
    };
    static void send(Subscriber& subscriber, Address const& address, Service_deployment const& service,
                     Event_deployment const& event, Serialized_payload const& payload);

    Limits const& m_limits;
    Gone const m_gone;
    std::map<Group, std::map<Address, Subscriber>> m_groups;
};

}  // namespace eb::com::runtime::someip
