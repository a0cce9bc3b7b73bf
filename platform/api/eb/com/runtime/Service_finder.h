#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <ara/log/Logger.h>
#include <eb/com/runtime/Ids.h>

namespace eb::com::runtime {

/// One found instance of a service. Equal handles stand for the same instance.
struct Service_handle {
    Service_id service;
    Instance_id instance;
    auto operator<=>(Service_handle const&) const = default;
};

/// The instance that an event belongs to.
struct Service_info {
    Service_id service;
    Instance_id instance;
    auto operator<=>(Service_info const&) const = default;
};

/// Reports which instances of a service are offered.
class ARA_API Service_finder {
public:
    /// A running search or subscription; ends with its last owner. After its destructor no further call
    /// starts.
    class ARA_API Subscription_handle {
    public:
        virtual ~Subscription_handle() = default;
    };

    using Found = std::function<void(std::vector<Service_handle> const&)>;

    virtual ~Service_finder() = default;

    /// Calls `found` with the whole list of instances that are offered, in this process or another: the first
    /// time right after the subscription, with what is known by then (which may be nothing), and again
    /// whenever the list changes. The instance "*" stands for any. Always on a runtime thread, one call at a
    /// time, never on the caller's. Any thread.
    virtual std::shared_ptr<Subscription_handle> subscribe(Service_id const& service,
                                                           Instance_id const& instance, Found found) = 0;
};

}  // namespace eb::com::runtime
