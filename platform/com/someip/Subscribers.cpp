#include "platform/com/someip/Subscribers.h"

#include <utility>
#include <vector>

namespace eb::com::runtime::someip {

bool Subscribers::add(std::uint16_t service, std::uint16_t eventgroup, Address const& address,
                      std::shared_ptr<Server_connection> const& connection) {
    auto& group = m_groups[{service, eventgroup}];
    if (group.size() >= m_limits.connections && !group.contains(address)) return false;
    Subscriber& subscriber = group[address];
    subscriber.connection = connection;
    subscriber.held = connection->subscription();
    return true;
}

void Subscribers::remove(std::uint16_t service, std::uint16_t eventgroup, Address const& address) {
    auto const group = m_groups.find({service, eventgroup});
    if (group == m_groups.end()) return;
    group->second.erase(address);
    if (group->second.empty()) m_groups.erase(group);
}

void Subscribers::removeAll(std::uint16_t service) {
    std::erase_if(m_groups, [&](auto const& entry) { return entry.first.first == service; });
}

void Subscribers::removeAll(Server_connection const& connection) {
    std::vector<std::pair<Group, Address>> gone;
    for (auto const& [group, subscribers] : m_groups)
        for (auto const& [address, subscriber] : subscribers)
            if (subscriber.connection.lock().get() == &connection) gone.emplace_back(group, address);
    for (auto const& [group, address] : gone) {
        remove(group.first, group.second, address);
        m_gone(group.first, group.second, address);
    }
}

std::size_t Subscribers::count(std::uint16_t service, std::uint16_t eventgroup) const {
    auto const group = m_groups.find({service, eventgroup});
    return group == m_groups.end() ? 0 : group->second.size();
}

void Subscribers::notify(Service_deployment const& service, Event_deployment const& event,
                         Serialized_payload const& payload) {
    auto const group = m_groups.find({service.serviceId, event.eventgroup});
    if (group == m_groups.end()) return;
    for (auto& [address, subscriber] : group->second) send(subscriber, address, service, event, payload);
}

void Subscribers::notify(Service_deployment const& service, Event_deployment const& event,
                         Serialized_payload const& payload, Address const& address) {
    auto const group = m_groups.find({service.serviceId, event.eventgroup});
    if (group == m_groups.end()) return;
    auto const subscriber = group->second.find(address);
    if (subscriber != group->second.end()) send(subscriber->second, address, service, event, payload);
}

void Subscribers::send(Subscriber& subscriber, Address const& address, Service_deployment const& service,
                       Event_deployment const& event, Serialized_payload const& payload) {
    auto const connection = subscriber.connection.lock();
    if (!connection) return;
    Header header;
    header.service = service.serviceId;
    header.method = event.id;
    std::uint16_t& session = subscriber.sessions[event.id];
    if (++session == 0) session = 1;  // 0 would say that messages aren't numbered
    header.session = session;
    header.interfaceVersion = service.version.major();
    header.type = static_cast<std::uint8_t>(Message_type::notification);
    connection->notify(header, address, payload);
}

}  // namespace eb::com::runtime::someip
