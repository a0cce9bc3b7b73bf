#include "servers/routine/Servers.h"

namespace zvg::val::diag_ara::services::transferparametersfromatn::methods {

constinit RoutineRow const ROW{.routineId = tDiagMgrRoutineId{309},
                               .name = "TransferParametersFromATN",
                               .serviceWord = "transferparametersfromatn"};

Server::Server() = default;

}  // namespace zvg::val::diag_ara::services::transferparametersfromatn::methods
