#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::metadatashadowcopy::methods {

Server::Server()
    : ShortShape(
          {.requestId = 0x54DE,
           .serviceName = "dataidentifier_metadatashadowcopy",
           .checks = {
               {{.identifier = true,
                 .max = 4083,
                 .text =
                     "Only VALMEASUREMENT_PSO_METADATA_SHADOW_COPY measurement request is supported "}}}}) {}

}  // namespace zvg::val::diag_ara::services::metadatashadowcopy::methods
