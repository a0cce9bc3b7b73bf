#pragma once

#include "binding/generated/Routine_service.h"

namespace zvg::services::diag::r_0689 {

struct Cancel;
struct RequestResults;
struct Start;
struct Stop;

struct RoutineService_TransferParametersFromATN
    : Routine_service<0x0689, Cancel, RequestResults, Start, Stop> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::r_0689::RoutineService_TransferParametersFromATN";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<RoutineService_TransferParametersFromATN>;

struct Cancel : Cancel_method {};
struct RequestResults : Request_results_method<RoutineService_TransferParametersFromATN> {};
struct Start : Routine_method<RoutineService_TransferParametersFromATN> {};
struct Stop : Routine_method<RoutineService_TransferParametersFromATN> {};

namespace skeleton {

class RoutineService_TransferParametersFromATNSkeleton
    : public Routine_skeleton<RoutineService_TransferParametersFromATN> {
public:
    using Routine_skeleton::Routine_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::r_0689
