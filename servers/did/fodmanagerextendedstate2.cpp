#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::fodmanagerextendedstate2::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x0234,
           .serviceName = "fodmanagerextendedstate2",
           .checks =
               {{{.identifier = true,
                  .text =
                      "Only VALMEASUREMENT_FOD_MANAGER_EXTENDED_STATE_2 measurement request is supported"},
                 atMost(listLimit(1, 100, 15))}},
           .entrySize = 15,
           .announcement = "Received handleUnpackedDiagnosticsresponse"}) {}

}  // namespace zvg::val::diag_ara::services::fodmanagerextendedstate2::methods
