#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::fodsomeipdatabusserviceerrorvaluereceived::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x117D,
           .serviceName = "fodsomeipdatabusserviceerrorvaluereceived",
           .checks =
               {{{.identifier = true,
                  .max = listLimit(1, 64, 22),
                  .text = "Only VALMEASUREMENT_FOD_SOMEIP_DATABUS_SERVICE_ERROR_VALUE_RECEIVED measurement "
                          "request is supported"},
                 {.min = 2,
                  .text =
                      "FOD_SOMEIP_DATABUS_SERVICE_ERROR_VALUE_RECEIVED measurement contains no services"}}},
           .entrySize = 22,
           .announcement = "Received unpackDiagnosticsresponse",
           .tellsResult = true}) {}

}  // namespace zvg::val::diag_ara::services::fodsomeipdatabusserviceerrorvaluereceived::methods
