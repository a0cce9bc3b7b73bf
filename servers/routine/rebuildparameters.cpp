#include "servers/routine/Servers.h"

namespace zvg::val::diag_ara::services::rebuildparameters::methods {

constinit RoutineRow const ROW{
    .routineId = tDiagMgrRoutineId{311}, .name = "RebuildParameters", .serviceWord = "rebuildparameters"};

Server::Server() = default;

}  // namespace zvg::val::diag_ara::services::rebuildparameters::methods
