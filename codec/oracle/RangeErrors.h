#pragma once

#include "codec/oracle/Oracle.h"

#include <vector>

namespace oracle {

/** What the codec has told rangeCheckErrorLog since the last call of this, oldest first. */
std::vector<RangeError> takeRangeErrors();

}  // namespace oracle
