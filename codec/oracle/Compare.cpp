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

testing::AssertionResult alike(const char* what, const Subject& subject, std::uint32_t bound,
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
           << what << " " << subject.name << " with bound " << bound << ": other " << difference
           << "; expected code " << expected.result.code << " cursor " << expected.cursor << ", got code "
           << actual.result.code << " cursor " << actual.cursor;
}

template <class Code>
Result withRangeErrors(Code code) {
    return {static_cast<int>(code), takeRangeErrors()};
}

std::uint64_t mostOf(const Field& field) {
    return field.stride() == 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * field.stride())) - 1;
}

void fillValid(const Record& table, void* record, std::uint64_t count) {
    std::uint64_t seed = 1;
    for (const Field& field : table.fields) {
        for (std::uint64_t i = 0; i < field.capacity; ++i) {
            if (field.kind == Field::Kind::RECORD) {
                fillValid(*field.record,
                          static_cast<unsigned char*>(record) + field.offset + i * field.stride(), count);
            } else if (field.kind == Field::Kind::ENUM) {
                const std::uint64_t last =
                    field.set->ranges.empty() ? field.set->mask : field.set->ranges.back().second;
                store(field, record, last, i);
            } else if (field.kind == Field::Kind::BOOL) {
                store(field, record, 1, i);
            } else {
                seed = seed * 6364136223846793005u + 1442695040888963407u;
                store(field, record, onWire(field, seed >> 7), i);
            }
        }
    }
    for (const Field& field : table.fields) {
        if (field.count != nullptr) store(table.field(field.count), record, std::min(count, field.capacity));
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
            inner.recordOffset += field.offset;
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
        if (field.count == nullptr) continue;
        const Field& counting = table.field(field.count);
        store(counting, record, std::min(count, mostOf(counting)));
    }
}

testing::AssertionResult packsAlike(const Subject& subject, const RecordMemory& record, std::uint32_t bound) {
    const sQlet1Mod4MessageHdr received{0x7777, 0x1234, bound};

    Outcome expected{{}, received, 0, guarded(bound), record};
    expected.result = pack(*subject.table, &expected.header, expected.buffer.data() + ZONE, &expected.cursor,
                           expected.record.get());
    Outcome actual{{}, received, 0, guarded(bound), record};
    actual.result = withRangeErrors(
        subject.pack(&actual.header, actual.buffer.data() + ZONE, &actual.cursor, actual.record.get()));
    testing::AssertionResult same = alike("packing", subject, bound, expected, actual);
    if (!same || subject.message == nullptr) return same;

    // The message function owns the cursor, and tells it as the header's length.
    actual = {{}, received, expected.cursor, guarded(bound), record};
    actual.result = withRangeErrors(
        subject.packMessage(&actual.header, actual.buffer.data() + ZONE, bound, actual.record.get()));
    expected.header.messageId = subject.id;
    expected.header.length = expected.result.code == 0 ? expected.cursor : 0;
    return alike("packing the message of", subject, bound, expected, actual);
}

testing::AssertionResult unpacksAlike(const Subject& subject, const std::vector<unsigned char>& payload,
                                      std::uint32_t bound) {
    const sQlet1Mod4MessageHdr received{0x7777, subject.id, bound};
    std::vector<unsigned char> buffer = guarded(bound);
    std::copy_n(payload.begin(), std::min<std::size_t>(bound, payload.size()), buffer.begin() + ZONE);

    Outcome expected{{}, received, 0, buffer, RecordMemory(*subject.table)};
    expected.result = unpack(*subject.table, &expected.header, expected.buffer.data() + ZONE,
                             &expected.cursor, expected.record.get());
    Outcome actual{{}, received, 0, buffer, RecordMemory(*subject.table)};
    actual.result = withRangeErrors(
        subject.unpack(&actual.header, actual.buffer.data() + ZONE, &actual.cursor, actual.record.get()));
    testing::AssertionResult same = alike("unpacking", subject, bound, expected, actual);
    if (!same || subject.message == nullptr) return same;

    actual = {{}, received, expected.cursor, buffer, RecordMemory(*subject.table)};
    actual.result = withRangeErrors(
        subject.unpackMessage(&actual.header, actual.buffer.data() + ZONE, actual.record.get()));
    if (expected.result.code == 0 && bound > expected.cursor) expected.result.code = eUnpackTrailingBytes;
    return alike("unpacking the message of", subject, bound, expected, actual);
}

}  // namespace oracle
