#pragma once

#include <memory>

#include "platform/com/discovery/Directory.h"
#include "platform/com/runtime/Answers.h"

namespace eb::com::runtime {

/// Takes the deployment's word for where services are: each is always to be had at its endpoint, and whether
/// somebody answers there shows in the first call. Owned by the runtime.
class Static_directory : public Directory {
public:
    Static_directory(Deployment const& deployment, std::shared_ptr<Answers> answers)
        : m_deployment(deployment), m_answers(std::move(answers)) {}

    std::shared_ptr<Subscription_handle> subscribe(Service_id const& service, Instance_id const& instance,
                                                   Found found) override;
    std::optional<Endpoint> locate(Service_deployment const& service) const override {
        return service.endpoint;
    }
    void offered(Service_deployment const&) override {}
    void withdrawn(Service_deployment const&) override {}

private:
    Deployment const& m_deployment;
    std::shared_ptr<Answers> m_answers;
};

}  // namespace eb::com::runtime
