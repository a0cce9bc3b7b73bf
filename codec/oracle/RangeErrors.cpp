#include "codec/oracle/RangeErrors.h"

#include "codec/Primitives.h"

#include <utility>

namespace {
std::vector<oracle::RangeError> g_errors;  // tests run on one thread
}

void rangeCheckErrorLog(char const* enumName, unsigned int value) {
    g_errors.emplace_back(enumName, value);
}

std::vector<oracle::RangeError> oracle::takeRangeErrors() {
    return std::exchange(g_errors, {});
}
