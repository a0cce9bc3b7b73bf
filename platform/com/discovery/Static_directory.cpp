#include "platform/com/discovery/Static_directory.h"

#include <atomic>
#include <utility>

namespace eb::com::runtime {
namespace {

class Subscription : public Subscription_handle {
public:
    explicit Subscription(std::shared_ptr<std::atomic<bool>> ended) : m_ended(std::move(ended)) {}
    ~Subscription() override { *m_ended = true; }

private:
    std::shared_ptr<std::atomic<bool>> m_ended;
};

}  // namespace

std::shared_ptr<Subscription_handle> Static_directory::subscribe(Service_id const& service,
                                                                 Instance_id const& instance, Found found) {
    std::vector<Service_handle> handles;
    if (m_deployment.find(service, instance) != nullptr) handles.push_back({service, instance});
    auto ended = std::make_shared<std::atomic<bool>>(false);
    m_answers->post([ended, handles = std::move(handles), found = std::move(found)] {
        if (!*ended) found(handles);
    });
    return std::make_shared<Subscription>(std::move(ended));
}

}  // namespace eb::com::runtime
