#include "codec/oracle/Compare.h"

#include "codec/oracle/RangeErrors.h"

#include <algorithm>
#include <cstring>

namespace oracle {

namespace {

constexpr std::size_t ZONE = 64;
constexpr unsigned char UNTOUCHED = 0xA5;

/** A buffer of `size` bytes between two zones. */
std::vector<unsigned char> guarded(std::size_t size) {
    return std::vector<unsigned char>(size + 2 * ZONE, UNTOUCHED);
}

bool operator==(const sQlet1Mod4MessageHdr& left, const sQlet1Mod4MessageHdr& right) {
    return left.reserved == right.reserved && left.messageId == right.messageId &&
           left.length == right.length;
}

struct Outcome {
    Result result;
    sQlet1Mod4MessageHdr header;
    unsigned cursor = 0;
    std::vector<unsigned char> buffer;
    RecordMemory record;
};

testing::AssertionResult alike(const char* what, std::string_view name, std::uint32_t bound,
                               const Outcome& expected, const Outcome& actual) {
    const char* difference = nullptr;
    if (expected.result.code != actual.result.code)
        difference = "code";
    else if (expected.cursor != actual.cursor)
        difference = "cursor";
    else if (!(expected.header == actual.header))
        difference = "header";
    else if (expected.buffer != actual.buffer)
        difference = "buffer";
    else if (!(expected.record == actual.record))
        difference = "record";
    else if (expected.result.rangeErrors != actual.result.rangeErrors)
        difference = "line about an enumeration";
    if (difference == nullptr) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << what << " " << name << " with bound " << bound << ": other " << difference << "; expected code "
           << expected.result.code << " cursor " << expected.cursor << ", got code " << actual.result.code
           << " cursor " << actual.cursor;
}

template <class Code>
Result withRangeErrors(Code code) {
    return {static_cast<int>(code), takeRangeErrors()};
}

Outcome packedByOracle(const Record& table, const RecordMemory& record, const sQlet1Mod4MessageHdr& header) {
    Outcome outcome{{}, header, 0, guarded(header.length), record};
    outcome.result =
        pack(table, &outcome.header, outcome.buffer.data() + ZONE, &outcome.cursor, outcome.record.get());
    return outcome;
}

Outcome unpackedByOracle(const Record& table, const std::vector<unsigned char>& payload,
                         const sQlet1Mod4MessageHdr& header) {
    Outcome outcome{{}, header, 0, guarded(header.length), RecordMemory(table)};
    std::copy_n(payload.begin(), std::min<std::size_t>(header.length, payload.size()),
                outcome.buffer.begin() + ZONE);
    outcome.result =
        unpack(table, &outcome.header, outcome.buffer.data() + ZONE, &outcome.cursor, outcome.record.get());
    return outcome;
}

std::uint64_t mostOf(const Field& field) {
    return ~std::uint64_t{0} >> (64 - 8 * field.elementBytes());
}

void fillValid(const Record& table, void* record, std::uint64_t count) {
    std::uint64_t seed = 1;
    for (const Field& field : table.fields) {
        for (std::uint64_t i = 0; i < field.capacity; ++i) {
            if (field.kind == Field::Kind::RECORD) {
                fillValid(*field.record,
                          static_cast<unsigned char*>(record) + field.memberOffset + i * field.elementBytes(),
                          count);
            } else if (field.kind == Field::Kind::ENUM) {
                store(field, record, lastValue(*field.enumeration), i);
            } else if (field.kind == Field::Kind::BOOL) {
                store(field, record, 1, i);
            } else {
                seed = seed * 6364136223846793005u + 1442695040888963407u;
                store(field, record, onWire(field, seed >> 7), i);
            }
        }
    }
    for (const Field& field : table.fields) {
        if (const Field* const counting = countOf(table, field))
            store(*counting, record, std::min<std::uint64_t>(count, field.capacity));
    }
}

}  // namespace

RecordMemory::RecordMemory(const Record& table) : m_bytes(table.bytes + 2 * ZONE, UNTOUCHED) {}

void RecordMemory::fill(unsigned char value) {
    std::fill(m_bytes.begin() + ZONE, m_bytes.end() - ZONE, value);
}

std::vector<Place> places(const Record& table) {
    std::vector<Place> all;
    for (const Field& field : table.fields) {
        if (field.kind != Field::Kind::RECORD) {
            all.push_back({&field, 0});
            continue;
        }
        for (Place inner : places(*field.record)) {
            inner.recordOffset += field.memberOffset;
            all.push_back(inner);
        }
    }
    return all;
}

void* recordOf(const Place& place, RecordMemory& memory) {
    return static_cast<unsigned char*>(memory.get()) + place.recordOffset;
}

RecordMemory validRecord(const Record& table, std::uint64_t count) {
    RecordMemory memory(table);
    memory.fill(0);
    fillValid(table, memory.get(), count);
    return memory;
}

void setCounts(const Record& table, void* record, std::uint64_t count) {
    for (const Field& field : table.fields) {
        if (const Field* const counting = countOf(table, field))
            store(*counting, record, std::min(count, mostOf(*counting)));
    }
}

testing::AssertionResult packsAlike(const Record& table, const RecordMemory& record, std::uint32_t bound) {
    const sQlet1Mod4MessageHdr received{0x7777, 0x1234, bound};
    const Outcome expected = packedByOracle(table, record, received);
    Outcome actual{{}, received, 0, guarded(bound), record};
    actual.result = withRangeErrors(
        table.pack(&actual.header, actual.buffer.data() + ZONE, &actual.cursor, actual.record.get()));
    return alike("packing", table.name, bound, expected, actual);
}

testing::AssertionResult packsAlike(const Message& message, const RecordMemory& record, std::uint32_t bound) {
    const sQlet1Mod4MessageHdr received{0x7777, 0x1234, bound};
    Outcome expected = packedByOracle(*message.record, record, received);
    // The message function owns the cursor, and tells it as the header's length.
    expected.header.messageId = message.id;
    expected.header.length = expected.result.code == 0 ? expected.cursor : 0;
    Outcome actual{{}, {0x7777, 0x1234, 0}, expected.cursor, guarded(bound), record};
    actual.result = withRangeErrors(
        message.pack(&actual.header, actual.buffer.data() + ZONE, bound, actual.record.get()));
    return alike("packing", message.name, bound, expected, actual);
}

testing::AssertionResult unpacksAlike(const Record& table, const std::vector<unsigned char>& payload,
                                      std::uint32_t bound) {
    const sQlet1Mod4MessageHdr received{0x7777, 0x1234, bound};
    const Outcome expected = unpackedByOracle(table, payload, received);
    Outcome actual{{}, received, 0, expected.buffer, RecordMemory(table)};
    actual.result = withRangeErrors(
        table.unpack(&actual.header, actual.buffer.data() + ZONE, &actual.cursor, actual.record.get()));
    return alike("unpacking", table.name, bound, expected, actual);
}

testing::AssertionResult unpacksAlike(const Message& message, const std::vector<unsigned char>& payload,
                                      std::uint32_t bound) {
    const sQlet1Mod4MessageHdr received{0x7777, message.id, bound};
    Outcome expected = unpackedByOracle(*message.record, payload, received);
    if (expected.result.code == 0 && bound > expected.cursor) expected.result.code = eUnpackTrailingBytes;
    Outcome actual{{}, received, expected.cursor, expected.buffer, RecordMemory(*message.record)};
    actual.result =
        withRangeErrors(message.unpack(&actual.header, actual.buffer.data() + ZONE, actual.record.get()));
    return alike("unpacking", message.name, bound, expected, actual);
}

}  // namespace oracle
