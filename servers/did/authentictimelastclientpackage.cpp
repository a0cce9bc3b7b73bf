#include "servers/did/Servers.h"

namespace zvg::val::diag_ara::services::authentictimelastclientpackage::methods {

Server::Server()
    : FullShape({.requestId = 0xB047,
                 .serviceName = "authentictimelastclientpackage",
                 .checks = {{{.identifier = true,
                              .min = 42,
                              .max = 42,
                              .text = "Only VALMEASUREMENT_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE measurement "
                                      "request is supported"}}}}) {}

}  // namespace zvg::val::diag_ara::services::authentictimelastclientpackage::methods
