#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::functionondemandproducttofsidassociation::methods {

Server::Server()
    : FullShape({.requestId = 0x488B,
                 .serviceName = "functionondemandproducttofsidassociation",
                 .checks = {{{.identifier = true,
                              .text = "Only VAL_FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSIOCIATION measurement "
                                      "request is supported"},
                             atMost(listLimit(2, 800, 5))}},
                 .entrySize = 5,
                 .announcement = "Received handleUnpackedDiagnosticsresponse",
                 .countText = "number of associations: "}) {}

}  // namespace zvg::val::diag_ara::services::functionondemandproducttofsidassociation::methods
