#pragma once

#include "servers/dtc/test/Manager.h"

namespace dtc_test {

constexpr int SET_STATUS = 2937;

/// What Java writes: the code in eight bytes and the state in four, least significant first.
inline Bytes message(unsigned long code, unsigned long state) {
    Bytes bytes;
    for (unsigned i = 0; i < 8; ++i) bytes.push_back(static_cast<unsigned char>(code >> 8U * i));
    for (unsigned i = 0; i < 4; ++i) bytes.push_back(static_cast<unsigned char>(state >> 8U * i));
    return bytes;
}

}  // namespace dtc_test
