#pragma once

#include <memory>
#include <string>
#include <utility>

#include <ac/com/Exceptions.h>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"

namespace zvg::val::diag_ara::services {

/// Makes the skeleton of a service's instance. Throws what the platform throws; an instance that it doesn't
/// know is told as an incident first.
template <class Skeleton, class... Args>
std::unique_ptr<Skeleton> makeSkeleton(std::string const& instanceId, Args&&... args) {
    try {
        return std::make_unique<Skeleton>(instanceId, std::forward<Args>(args)...);
    } catch (ac::com::Invalid_argument_exception const& error) {
        ara::com::log::service_log().trace(
            [&] { return ara::com::log::incidents::Service_instantiation_error{{{instanceId}}}; },
            [&] { return ac::com::cpp_binding::log::Failure_text{error.what()}; });
        throw;
    }
}

}  // namespace zvg::val::diag_ara::services
