#pragma once

#include "codec/MessageFrame.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/**
 * A second, slow codec for tests: it walks a hand-written table field by field and shares nothing with the
 * generated one but the records' layout in memory. What the two do not do alike is a defect of one of them.
 */
namespace oracle {

struct EnumSet {
    const char* name;
    unsigned bits;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    std::uint64_t mask = 0;  ///< if not 0, any of these bits, and no ranges
    bool any = false;
    bool isSigned = false;  ///< the values are those of the wire all the same, as unsigned numbers

    bool holds(std::uint64_t value) const;
    /** Values inside and just outside every range, and those that only a wider member can hold. */
    std::vector<std::uint64_t> edges() const;
};

struct Record;

struct Field {
    enum class Kind { UNSIGNED, SIGNED, BOOL, ENUM, RECORD };

    const char* name;
    std::size_t offset;       ///< of the member
    std::size_t memberBytes;  ///< of the whole member
    Kind kind;
    unsigned wireBytes = 0;  ///< of one element
    const EnumSet* set = nullptr;
    const Record* record = nullptr;
    bool isArray = false;
    std::uint64_t capacity = 1;   ///< elements in memory
    const char* count = nullptr;  ///< the member that counts; a fixed array has none

    std::size_t stride() const { return memberBytes / capacity; }
};

struct Record {
    const char* name;
    std::size_t bytes;
    std::vector<Field> fields;

    const Field& field(const std::string& name) const;
};

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

std::uint64_t load(const Field& field, const void* record, std::uint64_t index = 0);
void store(const Field& field, void* record, std::uint64_t value, std::uint64_t index = 0);
/** Cut to the wire's width. */
std::uint64_t onWire(const Field& field, std::uint64_t value);

}  // namespace oracle
