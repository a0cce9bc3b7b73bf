#include "servers/test/Bytes.h"

#include <cstdio>

namespace server_test {

std::string hex(Bytes const& bytes) {
    std::string text;
    for (std::uint8_t const byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", unsigned{byte});
        text += pair;
    }
    return text;
}

}  // namespace server_test
