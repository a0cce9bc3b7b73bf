#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::authentictimelastvalidbackendrequest::methods {

Server::Server()
    : FullShape({.requestId = 0x15FD,
                 .serviceName = "authentictimelastvalidbackendrequest",
                 .checks = {{{.identifier = true,
                              .min = 74,
                              .max = 74,
                              .text = "Only VALMEASUREMENT_AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST "
                                      "measurement request is supported (len:",
                              .tail = " should be:74)"}}}}) {}

}  // namespace zvg::val::diag_ara::services::authentictimelastvalidbackendrequest::methods
