#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::parameterlist::methods {

Server::Server()
    : ShortShape(
          {.requestId = 0x54DF,
           .serviceName = "parameterlist",
           .checks = {
               {{.identifier = true,
                 .max = 4083,
                 .text = "Only VALMEASUREMENT_PSO_PARAMETER_LIST measurement request is supported "}}}}) {}

}  // namespace zvg::val::diag_ara::services::parameterlist::methods
