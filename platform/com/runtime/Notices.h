#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Answers.h"
#include "platform/report/Runtime_report.h"

namespace eb::com::runtime {

/// Tells watchers of comings and goings. Owned by the runtime. Any thread.
class Notices {
public:
    using Watcher = std::function<void(Runtime_notice const&)>;

    explicit Notices(std::shared_ptr<Answers> answers) : m_answers(std::move(answers)) {}

    /// As eb::com::runtime::watch.
    std::shared_ptr<Service_finder::Subscription_handle> watch(Watcher watcher);

    /// A watcher that is far behind misses the notice.
    void tell(Runtime_notice const& notice);
    void tell(Runtime_notice::Kind kind, Service_deployment const& service, std::string where,
              std::string reason) {
        tell({kind, service.interface, service.instance, std::move(where), std::move(reason)});
    }

private:
    class Watch;

    std::shared_ptr<Answers> const m_answers;
    std::mutex m_mutex;
    std::vector<std::weak_ptr<Watch>> m_watches;  // guarded by m_mutex
};

}  // namespace eb::com::runtime
