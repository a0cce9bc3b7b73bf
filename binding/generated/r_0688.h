#pragma once

#include "binding/generated/Routine_service.h"

namespace zvg::services::diag::r_0688 {

struct Cancel;
struct RequestResults;
struct Start;
struct Stop;

struct RoutineService_InitializeParameters : Routine_service<0x0688, Cancel, RequestResults, Start, Stop> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::r_0688::RoutineService_InitializeParameters";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<RoutineService_InitializeParameters>;

struct Cancel : Cancel_method {};
struct RequestResults : Request_results_method<RoutineService_InitializeParameters> {};
struct Start : Routine_method<RoutineService_InitializeParameters> {};
struct Stop : Routine_method<RoutineService_InitializeParameters> {};

namespace skeleton {

class RoutineService_InitializeParametersSkeleton
    : public Routine_skeleton<RoutineService_InitializeParameters> {
public:
    using Routine_skeleton::Routine_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::r_0688
