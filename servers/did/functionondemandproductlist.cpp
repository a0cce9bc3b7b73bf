#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::functionondemandproductlist::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x488C,
           .serviceName = "functionondemandproductlist",
           .checks =
               {{{.identifier = true,
                  .text =
                      "Only VALMEASUREMENT_FUNCTION_ON_DEMAND_PRODUCT_LIST measurement request is supported"},
                 atMost(listLimit(1, 100, 32))}},
           .entrySize = 32,
           .announcement = "Received handleUnpackedDiagnosticsresponse"}) {}

}  // namespace zvg::val::diag_ara::services::functionondemandproductlist::methods
