#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::functionondemandversioninfo::methods {

Server::Server()
    : FullShape(
          {.requestId = 0x017D,
           .serviceName = "functionondemandversioninfo",
           .checks = {
               {{.identifier = true,
                 .text =
                     "Only VALMEASUREMENT_FUNCTION_ON_DEMAND_VERSION_INFO measurement request is supported"},
                {.min = 8, .max = 8, .text = "The length of the Response data is invalid."}}}}) {}

}  // namespace zvg::val::diag_ara::services::functionondemandversioninfo::methods
