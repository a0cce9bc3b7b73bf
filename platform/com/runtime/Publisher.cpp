#include "platform/com/runtime/Publisher.h"

#include <algorithm>

namespace eb::com::runtime {

Eventgroups& Process_runtime::eventgroups() noexcept {
    return *m_publisher;
}

someip::Server_endpoint* Process_runtime::Publisher::endpointOf(Service_deployment const& service) const {
    return m_runtime.offerOf(service) ? m_runtime.m_endpoints.at(service.endpoint).get() : nullptr;
}

Subscribe_result Process_runtime::Publisher::subscribe(Service_deployment const& service,
                                                       std::uint16_t eventgroup, Endpoint const& subscriber) {
    someip::Server_endpoint* const endpoint = endpointOf(service);
    if (endpoint == nullptr) return Subscribe_result::notOffered;
    if (std::none_of(service.events.begin(), service.events.end(),
                     [&](Event_deployment const& event) { return event.eventgroup == eventgroup; }))
        return Subscribe_result::noEventgroup;
    if (subscriber.transport != service.endpoint.transport) return Subscribe_result::wrongTransport;
    return endpoint->subscribe(service, eventgroup, subscriber.address);
}

void Process_runtime::Publisher::sendInitial(Service_deployment const& service, std::uint16_t eventgroup,
                                             Endpoint const& subscriber) {
    auto const offer = m_runtime.offerOf(service);
    if (!offer) return;
    for (unsigned short index = 0; index < service.events.size(); ++index) {
        Event_deployment const& event = service.events[index];
        if (event.eventgroup != eventgroup) continue;
        if (auto const value = offer->value(index))
            endpointOf(service)->subscribers().notify(service, event, *value, subscriber.address);
    }
}

void Process_runtime::Publisher::unsubscribe(Service_deployment const& service, std::uint16_t eventgroup,
                                             Endpoint const& subscriber) {
    if (someip::Server_endpoint* const endpoint = endpointOf(service))
        endpoint->subscribers().remove(service.serviceId, eventgroup, subscriber.address);
}

std::size_t Process_runtime::Publisher::subscribers(Service_deployment const& service,
                                                    std::uint16_t eventgroup) const {
    someip::Server_endpoint* const endpoint = endpointOf(service);
    return endpoint == nullptr ? 0 : endpoint->subscribers().count(service.serviceId, eventgroup);
}

void Process_runtime::Publisher::gone(Endpoint const& at, std::uint16_t service, std::uint16_t eventgroup,
                                      Address const& subscriber) {
    for (Service_deployment const& row : m_runtime.m_deployment.services)
        if (row.endpoint == at && row.serviceId == service)
            m_runtime.m_directory->subscriberGone(row, eventgroup, {at.transport, subscriber});
}

}  // namespace eb::com::runtime
