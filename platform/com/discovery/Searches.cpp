#include "platform/com/discovery/Searches.h"

#include <deque>
#include <utility>

namespace eb::com::runtime {
namespace {

/// Lists that may wait for one user.
constexpr std::size_t WAITING_LISTS = 16;

}  // namespace

bool matches(Service_deployment const& row, Service_id const& service, Instance_id const& instance) {
    return row.interface == service && (instance.value == "*" || row.instance == instance);
}

class Searches::Search : public Service_finder::Subscription_handle {
public:
    using Handles = std::vector<Service_handle>;

    Search(Service_id service, Instance_id instance, Service_finder::Found found)
        : m_service(std::move(service)), m_instance(std::move(instance)), m_found(std::move(found)) {}

    bool looksFor(Service_deployment const& row) const { return matches(row, m_service, m_instance); }

    /// Whether `tell` has to be called once more.
    bool add(Handles handles) {
        std::lock_guard lock(m_mutex);
        m_waiting.push_back(std::move(handles));
        if (m_waiting.size() <= WAITING_LISTS) return true;
        m_waiting.pop_front();
        return false;
    }
    void tell() {
        std::unique_lock lock(m_mutex);
        Handles const handles = std::move(m_waiting.front());
        m_waiting.pop_front();
        lock.unlock();
        m_found(handles);
    }

private:
    Service_id const m_service;
    Instance_id const m_instance;
    Service_finder::Found const m_found;
    std::mutex m_mutex;
    std::deque<Handles> m_waiting;  // guarded by m_mutex
};

std::shared_ptr<Service_finder::Subscription_handle> Searches::subscribe(Service_id const& service,
                                                                         Instance_id const& instance,
                                                                         Service_finder::Found found) {
    auto search = std::make_shared<Search>(service, instance, std::move(found));
    std::lock_guard lock(m_mutex);
    std::erase_if(m_searches, [](auto const& known) { return known.expired(); });
    m_searches.push_back(search);
    tell(search);
    return search;
}

void Searches::set(Service_deployment const& service, bool available) {
    std::lock_guard lock(m_mutex);
    bool const changed = available ? m_available.insert(&service).second : m_available.erase(&service) != 0;
    if (!changed) return;
    for (auto const& known : m_searches)
        if (auto const search = known.lock(); search && search->looksFor(service)) tell(search);
}

bool Searches::isAvailable(Service_deployment const& service) const {
    std::lock_guard lock(m_mutex);
    return m_available.contains(&service);
}

/// m_mutex is held, so that lists are handed over in the order in which they were true.
void Searches::tell(std::shared_ptr<Search> const& search) const {
    std::vector<Service_handle> handles;
    for (Service_deployment const& row : m_deployment.services)
        if (search->looksFor(row) && m_available.contains(&row))
            handles.push_back({row.interface, row.instance});
    if (!search->add(std::move(handles))) return;
    m_answers->post([weak = std::weak_ptr(search)] {
        if (auto const present = weak.lock()) present->tell();
    });
}

}  // namespace eb::com::runtime
