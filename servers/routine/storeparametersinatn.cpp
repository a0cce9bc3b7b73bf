#include "servers/routine/Servers.h"

namespace zvg::val::diag_ara::services::storeparametersinatn::methods {

constinit RoutineRow const ROW{.routineId = tDiagMgrRoutineId{308},
                               .name = "StoreParametersInATN",
                               .serviceWord = "storeparametersinatn"};

Server::Server() = default;

}  // namespace zvg::val::diag_ara::services::storeparametersinatn::methods
