#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::fodmanagerextendedstate1::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x0235,
           .serviceName = "fodmanagerextendedstate1",
           .checks =
               {{{.identifier = true,
                  .text =
                      "Only VALMEASUREMENT_FOD_MANAGER_EXTENDED_STATE_1 measurement request is supported"},
                 atMost(listLimit(44, 100, 31))}},
           .entrySize = 31,
           .announcement = "Received handleUnpackedDiagnosticsresponse"}) {}

}  // namespace zvg::val::diag_ara::services::fodmanagerextendedstate1::methods
