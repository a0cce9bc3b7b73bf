#pragma once

#include <optional>

#include <eb/com/runtime/Service_finder.h>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// Where services are to be had, and who is told of it.
class Directory : public Service_finder {
public:
    /// Where an instance is reached now; nothing if nobody offers it. io thread.
    virtual std::optional<Endpoint> locate(Service_deployment const& service) const = 0;

    /// This process offers an instance, or no longer. io thread.
    virtual void offered(Service_deployment const& service) = 0;
    virtual void withdrawn(Service_deployment const& service) = 0;
};

}  // namespace eb::com::runtime
