#include "servers/routine/Servers.h"

namespace zvg::val::diag_ara::services::initializeparameters::methods {

constinit RoutineRow const ROW{.routineId = tDiagMgrRoutineId{310},
                               .name = "InitializeParameters",
                               .serviceWord = "initializeparameters"};

Server::Server() = default;

}  // namespace zvg::val::diag_ara::services::initializeparameters::methods
