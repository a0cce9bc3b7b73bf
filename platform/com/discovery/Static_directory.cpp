#include "platform/com/discovery/Static_directory.h"

#include <atomic>
#include <utility>

namespace eb::com::runtime {

class Static_directory::Search : public Subscription_handle {
public:
    Search(Service_id service, Instance_id instance, Found found)
        : m_service(std::move(service)), m_instance(std::move(instance)), m_found(std::move(found)) {}

    bool matches(Service_deployment const& row) const {
        return row.interface == m_service && (m_instance.value == "*" || row.instance == m_instance);
    }
    void found(std::vector<Service_handle> const& handles) const { m_found(handles); }

private:
    Service_id const m_service;
    Instance_id const m_instance;
    Found const m_found;
};

std::shared_ptr<Subscription_handle> Static_directory::subscribe(Service_id const& service,
                                                                 Instance_id const& instance, Found found) {
    auto search = std::make_shared<Search>(service, instance, std::move(found));
    std::lock_guard lock(m_mutex);
    std::erase_if(m_searches, [](auto const& known) { return known.expired(); });
    m_searches.push_back(search);
    tell(search);
    return search;
}

bool Static_directory::isOffered(Service_deployment const& service) const {
    std::lock_guard lock(m_mutex);
    return !m_withdrawn.contains(&service);
}

void Static_directory::offered(Service_deployment const& service) {
    std::lock_guard lock(m_mutex);
    if (m_withdrawn.erase(&service) != 0) tellAll(service);
}

void Static_directory::withdrawn(Service_deployment const& service) {
    std::lock_guard lock(m_mutex);
    if (m_withdrawn.insert(&service).second) tellAll(service);
}

void Static_directory::tellAll(Service_deployment const& service) {
    for (auto const& known : m_searches)
        if (auto const search = known.lock(); search && search->matches(service)) tell(search);
}

/// m_mutex is held, so that lists are handed over in the order in which they were true.
void Static_directory::tell(std::shared_ptr<Search> const& search) const {
    std::vector<Service_handle> handles;
    for (Service_deployment const& row : m_deployment.services)
        if (search->matches(row) && !m_withdrawn.contains(&row))
            handles.push_back({row.interface, row.instance});
    m_answers->post([weak = std::weak_ptr(search), handles = std::move(handles)] {
        if (auto const present = weak.lock()) present->found(handles);
    });
}

}  // namespace eb::com::runtime
