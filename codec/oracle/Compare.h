#pragma once

#include "codec/oracle/Oracle.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace oracle {

/** A record's memory, aligned for any record, between two zones that nobody may touch. */
class RecordMemory {
public:
    explicit RecordMemory(const Record& table);

    void* get() { return m_bytes.data() + ZONE; }
    const void* get() const { return m_bytes.data() + ZONE; }
    void fill(unsigned char value);
    bool operator==(const RecordMemory& other) const = default;

private:
    static constexpr std::size_t ZONE = 64;
    std::vector<unsigned char> m_bytes;
};

/** Every field, those of nested records included, with the way to its memory. */
struct Place {
    const Field* field;
    std::size_t recordOffset;  ///< of the record that the field stands in
};
std::vector<Place> places(const Record& table);
void* recordOf(const Place& place, RecordMemory& memory);

/** Valid in every field: enumerations hold their sets' last values, counts are `count` or the maximum. */
RecordMemory validRecord(const Record& table, std::uint64_t count);

/** Sets every array's count to `count`, cut to what its member can hold. */
void setCounts(const Record& table, void* record, std::uint64_t count);

/** As headers and primitives take it. */
inline std::uint32_t sizeOf(const std::vector<unsigned char>& payload) {
    return static_cast<std::uint32_t>(payload.size());
}

// Each runs the generated codec and the oracle on equal memory and compares everything that either may
// touch: code, header, cursor, buffer, record, the zones around them, and the lines about enumerations.
testing::AssertionResult packsAlike(const Record& table, const RecordMemory& record, std::uint32_t bound);
testing::AssertionResult packsAlike(const Message& message, const RecordMemory& record, std::uint32_t bound);
testing::AssertionResult unpacksAlike(const Record& table, const std::vector<unsigned char>& payload,
                                      std::uint32_t bound);
testing::AssertionResult unpacksAlike(const Message& message, const std::vector<unsigned char>& payload,
                                      std::uint32_t bound);

}  // namespace oracle
