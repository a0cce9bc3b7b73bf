#pragma once

#include <memory>

#include "platform/com/discovery/Directory.h"
#include "platform/com/discovery/Searches.h"
#include "platform/com/runtime/Notices.h"

namespace eb::com::runtime {

/// Takes the deployment's word for where services are: each is always to be had at its endpoint, and whether
/// somebody answers there shows in the first call. Only of an instance that this process itself has offered
/// and withdrawn it knows better: it isn't to be had until it is offered again. Nobody is asked for
/// eventgroups of other processes, so subscriptions to them stay pending. Owned by the runtime.
class Static_directory : public Directory {
public:
    Static_directory(Deployment const& deployment, std::shared_ptr<Answers> answers, Notices& notices);

    std::shared_ptr<Service_finder::Subscription_handle> subscribe(Service_id const& service,
                                                                   Instance_id const& instance,
                                                                   Found found) override {
        return m_searches.subscribe(service, instance, std::move(found));
    }
    std::optional<Endpoint> locate(Service_deployment const& service) const override {
        return service.endpoint;
    }
    bool isOffered(Service_deployment const& service) const override {
        return m_searches.isAvailable(service);
    }
    void offered(Service_deployment const& service) override;
    void withdrawn(Service_deployment const& service) override;
    void subscribe(Service_deployment const&, std::uint16_t, Endpoint const&) override {}
    void unsubscribe(Service_deployment const&, std::uint16_t) override {}
    void report(Runtime_report& report) const override;

private:
    Deployment const& m_deployment;
    Notices& m_notices;
    Searches m_searches;
};

}  // namespace eb::com::runtime
