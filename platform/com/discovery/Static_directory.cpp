#include "platform/com/discovery/Static_directory.h"

namespace eb::com::runtime {

Static_directory::Static_directory(Deployment const& deployment, std::shared_ptr<Answers> answers,
                                   Notices& notices)
    : m_deployment(deployment), m_notices(notices), m_searches(deployment, std::move(answers)) {
    for (Service_deployment const& row : deployment.services) m_searches.set(row, true);
}

void Static_directory::offered(Service_deployment const& service) {
    m_searches.set(service, true);
    m_notices.tell(Runtime_notice::Kind::offered, service, "local", "offer");
}

void Static_directory::withdrawn(Service_deployment const& service) {
    m_searches.set(service, false);
    m_notices.tell(Runtime_notice::Kind::lost, service, "local", "withdrawn");
}

void Static_directory::report(Runtime_report& report) const {
    report.discovery = "static";
    for (std::size_t index = 0; index < m_deployment.services.size(); ++index) {
        Service_deployment const& row = m_deployment.services[index];
        Instance_report& instance = report.instances.at(index);
        instance.found = isOffered(row);
        if (instance.found) instance.endpoint = instance.offered ? "local" : row.endpoint.text();
    }
}

}  // namespace eb::com::runtime
