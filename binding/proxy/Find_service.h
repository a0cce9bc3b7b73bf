// The search for a service, without its type.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <eb/com/runtime/Service_finder.h>

#include "binding/incident/Dlt.h"
#include "binding/proxy/Find_service_handle.h"

namespace ac::com::cpp_binding::proxy::detail {

using Found_handler = std::function<void(std::vector<eb::com::runtime::Service_handle> const&)>;

/// Gives a search its number.
Find_service_handle make_find_service_handle(
    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>&& subscription,
    std::shared_ptr<Strand>&& strand,
    Find_service_handle::Stopped stopped = std::make_shared<std::atomic<bool>>(false));

/// Subscribes to the offers of a service. Each list goes to a strand of this search, where `handler` runs:
/// the runtime's thread does nothing but post. What the handler throws, and that it took too long, is logged.
Find_service_handle start_find_service(eb::com::runtime::Service_id service,
                                       eb::com::runtime::Instance_id instance, Found_handler handler,
                                       ac::com::log::Generic_logger const& log);

}  // namespace ac::com::cpp_binding::proxy::detail
