#pragma once

#include "binding/generated/Routine_service.h"

namespace zvg::services::diag::r_0687 {

struct Cancel;
struct RequestResults;
struct Start;
struct Stop;

struct RoutineService_RebuildParameters : Routine_service<0x0687, Cancel, RequestResults, Start, Stop> {
    static constexpr std::string_view NAME = "zvg::services::diag::r_0687::RoutineService_RebuildParameters";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<RoutineService_RebuildParameters>;

struct Cancel : Cancel_method {};
struct RequestResults : Request_results_method<RoutineService_RebuildParameters> {};
struct Start : Routine_method<RoutineService_RebuildParameters> {};
struct Stop : Routine_method<RoutineService_RebuildParameters> {};

namespace skeleton {

class RoutineService_RebuildParametersSkeleton : public Routine_skeleton<RoutineService_RebuildParameters> {
public:
    using Routine_skeleton::Routine_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::r_0687
