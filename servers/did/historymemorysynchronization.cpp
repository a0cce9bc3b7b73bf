#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::historymemorysynchronization::methods {

Server::Server()
    : ShortShape({.requestId = 0x54DC,
                  .serviceName = "dataidentifier_historymemorysynchronization",
                  .checks = {{{.identifier = true,
                               .max = 4083,
                               .text = "Only VALMEASUREMENT_PSO_SYNCHRONISATION_FAULT_MEMORY measurement "
                                       "request is supported "}}}}) {}

}  // namespace zvg::val::diag_ara::services::historymemorysynchronization::methods
