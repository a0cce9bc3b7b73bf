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

/// A running search; ends with its last owner. After its destructor no further call starts.
class ARA_API Subscription_handle {
public:
    virtual ~Subscription_handle() = default;
};

/// Tells which instances of a service are to be had.
class ARA_API Service_finder {
public:
    using Found = std::function<void(std::vector<Service_handle> const&)>;

    virtual ~Service_finder() = default;

    /// Calls `found` with the whole list whenever it changes, the first time as soon as anything is known.
    /// Always on a runtime thread, never on the caller's. Any thread.
    virtual std::shared_ptr<Subscription_handle> subscribe(Service_id const& service,
                                                           Instance_id const& instance, Found found) = 0;
};

}  // namespace eb::com::runtime
