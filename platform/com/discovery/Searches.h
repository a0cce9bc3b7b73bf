#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include <eb/com/runtime/Service_finder.h>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Answers.h"

namespace eb::com::runtime {

/// Whether a search for an instance, or "*", means that row of the deployment.
bool matches(Service_deployment const& row, Service_id const& service, Instance_id const& instance);

/// The searches of users, and the instances that they are told of. Owned by a directory. Any thread.
class Searches {
public:
    Searches(Deployment const& deployment, std::shared_ptr<Answers> answers)
        : m_deployment(deployment), m_answers(std::move(answers)) {}

    /// As Service_finder::subscribe. Of lists that a slow user hasn't taken the newest are kept.
    std::shared_ptr<Service_finder::Subscription_handle> subscribe(Service_id const& service,
                                                                   Instance_id const& instance,
                                                                   Service_finder::Found found);
    /// Tells all searches that look for the instance, if it is a change.
    void set(Service_deployment const& service, bool available);
    bool isAvailable(Service_deployment const& service) const;

private:
    class Search;
    void tell(std::shared_ptr<Search> const& search) const;

    Deployment const& m_deployment;
    std::shared_ptr<Answers> const m_answers;
    mutable std::mutex m_mutex;
    std::set<Service_deployment const*> m_available;  // guarded by m_mutex
    std::vector<std::weak_ptr<Search>> m_searches;    // guarded by m_mutex
};

}  // namespace eb::com::runtime
