#include "platform/report/Deployed_services.h"

#include "platform/com/deployment/Manifest.h"

namespace eb::com::runtime {

Deployed_services deployed_services() {
    Deployment const deployment = readManifest();
    Deployed_services deployed;
    deployed.manifest = deployment.origin;
    if (deployment.discovery.mode != Discovery::Mode::fixed) {
        Port_range const& range = deployment.discovery.ports;
        for (unsigned port = range.first; port < unsigned{range.first} + range.count; ++port)
            deployed.discovery.push_back(static_cast<std::uint16_t>(port));
    }
    for (Service_deployment const& row : deployment.services) {
        Deployed_service& service = deployed.services.emplace_back();
        service.service = row.interface;
        service.instance = row.instance;
        service.service_id = row.serviceId;
        service.instance_id = row.instanceId;
        service.transport = row.endpoint.transport == Transport::tcp ? "tcp" : "udp";
        service.port = row.endpoint.address.port;
        for (Method_deployment const& method : row.methods)
            service.methods.push_back({method.name, method.id});
        for (Event_deployment const& event : row.events)
            service.events.push_back({event.name, event.id, event.eventgroup});
    }
    return deployed;
}

}  // namespace eb::com::runtime
