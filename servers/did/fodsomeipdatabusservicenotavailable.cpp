#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::fodsomeipdatabusservicenotavailable::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x117C,
           .serviceName = "fodsomeipdatabusservicenotavailable",
           .checks = {{{.identifier = true,
                        .max = listLimit(1, 64, 20),
                        .text = "Only VALMEASUREMENT_FOD_SOMEIP_DATABUS_SERVICE_NOT_AVAILABLE measurement "
                                "request is supported"},
                       {.min = 2,
                        .text = "FOD_SOMEIP_DATABUS_SERVICE_NOT_AVAILABLE measurement contains no services",
                        .level = 3}}},
           .entrySize = 20,
           .announcement = "Received unpackvaldiagnosticsresponse",
           .tellsResult = true}) {}

}  // namespace zvg::val::diag_ara::services::fodsomeipdatabusservicenotavailable::methods
