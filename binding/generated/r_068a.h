#pragma once

#include "binding/generated/Routine_service.h"

namespace zvg::services::diag::r_068a {

struct Cancel;
struct RequestResults;
struct Start;
struct Stop;

struct RoutineService_StoreParametersInATN : Routine_service<0x068A, Cancel, RequestResults, Start, Stop> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::r_068a::RoutineService_StoreParametersInATN";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<RoutineService_StoreParametersInATN>;

struct Cancel : Cancel_method {};
struct RequestResults : Request_results_method<RoutineService_StoreParametersInATN> {};
struct Start : Routine_method<RoutineService_StoreParametersInATN> {};
struct Stop : Routine_method<RoutineService_StoreParametersInATN> {};

namespace skeleton {

class RoutineService_StoreParametersInATNSkeleton
    : public Routine_skeleton<RoutineService_StoreParametersInATN> {
public:
    using Routine_skeleton::Routine_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::r_068a
