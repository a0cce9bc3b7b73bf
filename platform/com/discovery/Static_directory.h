#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "platform/com/discovery/Directory.h"
#include "platform/com/runtime/Answers.h"

namespace eb::com::runtime {

/// Takes the deployment's word for where services are: each is always to be had at its endpoint, and whether
/// somebody answers there shows in the first call. Only of an instance that this process itself has offered
/// and withdrawn it knows better: it isn't to be had until it is offered again. Nobody is asked for
/// eventgroups of other processes, so subscriptions to them stay pending. Owned by the runtime.
class Static_directory : public Directory {
public:
    Static_directory(Deployment const& deployment, std::shared_ptr<Answers> answers)
        : m_deployment(deployment), m_answers(std::move(answers)) {}

    std::shared_ptr<Subscription_handle> subscribe(Service_id const& service, Instance_id const& instance,
                                                   Found found) override;
    std::optional<Endpoint> locate(Service_deployment const& service) const override {
        return service.endpoint;
    }
    bool isOffered(Service_deployment const& service) const override;
    void offered(Service_deployment const& service) override;
    void withdrawn(Service_deployment const& service) override;
    void subscribe(Service_deployment const&, std::uint16_t, Endpoint const&) override {}
    void unsubscribe(Service_deployment const&, std::uint16_t) override {}

private:
    class Search;
    void tell(std::shared_ptr<Search> const& search) const;
    void tellAll(Service_deployment const& service);

    Deployment const& m_deployment;
    std::shared_ptr<Answers> m_answers;
    mutable std::mutex m_mutex;
    std::set<Service_deployment const*> m_withdrawn;  // guarded by m_mutex
    std::vector<std::weak_ptr<Search>> m_searches;    // guarded by m_mutex
};

}  // namespace eb::com::runtime
