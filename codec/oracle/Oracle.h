#pragma once

#include "codec/oracle/Catalogue.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/**
 * A second, slow codec for tests: it walks a record's description field by field and shares nothing with the
 * generated functions but the records' layout in memory. What the two do not do alike is a defect of one of
 * them.
 */
namespace oracle {

/** One call of rangeCheckErrorLog. */
using RangeError = std::pair<std::string, unsigned>;

struct Result {
    int code = 0;
    std::vector<RangeError> rangeErrors;
};

Result pack(const Record& table, const sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned* cursor,
            const void* record);
Result unpack(const Record& table, const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
              unsigned* cursor, void* record);
std::uint64_t packedSize(const Record& table, const void* record);
/** The whole text, as if there was room for all of it. */
std::string text(const Record& table, const void* record);
/** The wire form without any test: with the values and counts as they are, missing elements as zeros. */
std::vector<unsigned char> rawPayload(const Record& table, const void* record);

/** Whether the wire's value, as an unsigned number, belongs to the enumeration. */
bool holds(const Enumeration& set, std::uint64_t value);
/** Values inside and just outside every range, and those that only a wider member can hold. */
std::vector<std::uint64_t> edges(const Enumeration& set);
/** The enumeration's last value as it stands on the wire. */
std::uint64_t lastValue(const Enumeration& set);

/** The field that counts an array's elements, null if none does. */
const Field* countOf(const Record& table, const Field& field);
unsigned wireBytes(const Field& field);

std::uint64_t load(const Field& field, const void* record, std::uint64_t index = 0);
void store(const Field& field, void* record, std::uint64_t value, std::uint64_t index = 0);
/** Cut to the wire's width. */
std::uint64_t onWire(const Field& field, std::uint64_t value);

}  // namespace oracle
