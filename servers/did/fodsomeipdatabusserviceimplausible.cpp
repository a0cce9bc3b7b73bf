#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::fodsomeipdatabusserviceimplausible::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x117E,
           .serviceName = "fodsomeipdatabusserviceimplausible",
           .checks = {{{.identifier = true,
                        .max = listLimit(1, 64, 22),
                        .text = "Only VALMEASUREMENT_FOD_SOMEIP_DATABUS_SERVICE_IMPLAUSIBLE measurement "
                                "request is supported"},
                       {.min = 2,
                        .text = "FOD_SOMEIP_DATABUS_SERVICE_IMPLAUSIBLE measurement contains no services",
                        .level = 3}}},
           .entrySize = 22,
           .announcement = "Received unpackvaldiagnosticsresponse",
           .tellsResult = true}) {}

}  // namespace zvg::val::diag_ara::services::fodsomeipdatabusserviceimplausible::methods
