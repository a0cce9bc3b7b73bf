#pragma once

#include "codec/oracle/Oracle.h"

#include <cstdint>
#include <random>

namespace oracle {

/** Gives the same numbers on every platform. */
using Random = std::mt19937_64;

/** From 0 to limit - 1; `limit` is at least 1. */
std::uint64_t below(Random& random, std::uint64_t limit);

enum class Flaws {
    NONE,  ///< it packs, and what is unpacked again packs to the same bytes
    RARE,  ///< now and then a value outside its enumeration, a count above its maximum, any byte as a bool
};

/**
 * Fills a record. Arrays are mostly short, now and then of any length or full; what lies behind their last
 * element stays as it was.
 */
void randomise(const Record& table, void* record, Random& random, Flaws flaws);

}  // namespace oracle
