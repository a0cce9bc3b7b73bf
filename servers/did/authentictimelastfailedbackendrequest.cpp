#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::authentictimelastfailedbackendrequest::methods {

Server::Server()
    : FullShape({.requestId = 0x15FE,
                 .serviceName = "authentictimelastfailedbackendrequest",
                 .checks = {{{.identifier = true,
                              .min = 74,
                              .max = 74,
                              .text = "Only VALMEASUREMENT_AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST "
                                      "measurement request is supported"}}}}) {}

}  // namespace zvg::val::diag_ara::services::authentictimelastfailedbackendrequest::methods
