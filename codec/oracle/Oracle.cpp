#include "codec/oracle/Oracle.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace oracle {

namespace {

using Kind = Field::Kind;

const unsigned char* elementAt(const Field& field, const void* record, std::uint64_t index) {
    return static_cast<const unsigned char*>(record) + field.offset + index * field.stride();
}

unsigned char* elementAt(const Field& field, void* record, std::uint64_t index) {
    return static_cast<unsigned char*>(record) + field.offset + index * field.stride();
}

std::uint64_t elements(const Record& table, const Field& field, const void* record) {
    if (!field.isArray) return 1;
    return field.count == nullptr ? field.capacity : load(table.field(field.count), record);
}

bool isSigned(const Field& field) {
    return field.kind == Kind::SIGNED || (field.kind == Kind::ENUM && field.set->isSigned);
}

/** Byte arrays and integer arrays are moved as one block, or not at all. */
bool isBlock(const Field& field) {
    return field.isArray && field.kind == Kind::UNSIGNED;
}

bool fits(unsigned bound, unsigned cursor, std::uint64_t size) {
    return cursor + size <= bound;
}

void putBytes(unsigned char* at, std::uint64_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) at[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::uint64_t takeBytes(const unsigned char* at, unsigned bytes) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < bytes; ++i) value |= static_cast<std::uint64_t>(at[i]) << (8 * i);
    return value;
}

Result packElement(const Field& field, const sQlet1Mod4MessageHdr* header, unsigned char* buffer,
                   unsigned* cursor, const void* record, std::uint64_t index) {
    if (field.kind == Kind::RECORD) {
        return pack(*field.record, header, buffer, cursor, elementAt(field, record, index));
    }
    const std::uint64_t value = onWire(field, load(field, record, index));
    if (field.kind == Kind::ENUM && !field.set->holds(value)) {
        return {9, {{field.set->name, static_cast<unsigned>(value)}}};
    }
    if (!fits(header->length, *cursor, field.wireBytes)) return {3, {}};
    putBytes(buffer + *cursor, value, field.wireBytes);
    *cursor += field.wireBytes;
    return {};
}

Result unpackElement(const Field& field, const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
                     unsigned* cursor, void* record, std::uint64_t index) {
    if (field.kind == Kind::RECORD) {
        return unpack(*field.record, header, buffer, cursor, elementAt(field, record, index));
    }
    if (!fits(header->length, *cursor, field.wireBytes)) return {4, {}};
    std::uint64_t value = takeBytes(buffer + *cursor, field.wireBytes);
    *cursor += field.wireBytes;
    if (field.kind == Kind::ENUM && !field.set->holds(value)) {
        return {11, {{field.set->name, static_cast<unsigned>(value)}}};
    }
    if (field.kind == Kind::BOOL) value = value != 0 ? 1 : 0;
    if (isSigned(field) && field.wireBytes < 8 && ((value >> (8 * field.wireBytes - 1)) & 1) != 0) {
        value |= ~std::uint64_t{0} << (8 * field.wireBytes);
    }
    store(field, record, value, index);
    return {};
}

std::string valueText(const Field& field, std::uint64_t value) {
    value = onWire(field, value);
    if (field.kind == Kind::BOOL) return value != 0 ? "true" : "false";
    if (field.wireBytes == 8) return std::to_string(static_cast<std::int64_t>(value));
    if (isSigned(field) && field.wireBytes == 1) return std::to_string(static_cast<std::int8_t>(value));
    if (isSigned(field) && field.wireBytes == 2) return std::to_string(static_cast<std::int16_t>(value));
    const bool hasMinus = isSigned(field) || (field.kind == Kind::ENUM && field.wireBytes == 4);
    return hasMinus ? std::to_string(static_cast<std::int32_t>(value)) : std::to_string(value);
}

std::string elementText(const Field& field, std::uint64_t value) {
    static const char* const DIGITS = "0123456789abcdef";
    value = onWire(field, value);
    if (field.wireBytes == 1) return {DIGITS[value >> 4], DIGITS[value & 15]};
    return field.wireBytes == 4 ? std::to_string(static_cast<std::int32_t>(value)) : std::to_string(value);
}

}  // namespace

bool EnumSet::holds(std::uint64_t value) const {
    if (any) return true;
    if (mask != 0) return (value & ~mask) == 0;
    return std::any_of(ranges.begin(), ranges.end(),
                       [&](const auto& each) { return each.first <= value && value <= each.second; });
}

std::vector<std::uint64_t> EnumSet::edges() const {
    const std::uint64_t most = (std::uint64_t{1} << bits) - 1;
    std::vector<std::uint64_t> values = {0, 1, most, most - 1, most / 2};
    for (const auto& [first, last] : ranges) {
        for (const std::uint64_t value : {first - 1, first, last, last + 1}) {
            values.push_back(value & most);
            values.push_back((value & most) | (most + 1));  // the same once it is cut to the wire's width
        }
    }
    for (unsigned bit = 0; mask != 0 && bit < bits; ++bit) values.push_back(std::uint64_t{1} << bit);
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

const Field& Record::field(const std::string& wanted) const {
    for (const Field& each : fields) {
        if (wanted == each.name) return each;
    }
    throw std::out_of_range(std::string(name) + " has no field " + wanted);
}

std::uint64_t load(const Field& field, const void* record, std::uint64_t index) {
    std::uint64_t value = 0;
    std::memcpy(&value, elementAt(field, record, index), field.stride());
    return value;
}

void store(const Field& field, void* record, std::uint64_t value, std::uint64_t index) {
    std::memcpy(elementAt(field, record, index), &value, field.stride());
}

std::uint64_t onWire(const Field& field, std::uint64_t value) {
    return field.wireBytes == 8 ? value : value & ((std::uint64_t{1} << (8 * field.wireBytes)) - 1);
}

Result pack(const Record& table, const sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned* cursor,
            const void* record) {
    if (header == nullptr) return {1, {}};
    if (buffer == nullptr) return {2, {}};
    if (cursor == nullptr) return {7, {}};
    if (record == nullptr) return {4, {}};
    for (const Field& field : table.fields) {
        const std::uint64_t count = elements(table, field, record);
        if (count > field.capacity) return {6, {}};
        if (isBlock(field) && !fits(header->length, *cursor, count * field.wireBytes)) return {3, {}};
        for (std::uint64_t i = 0; i < count; ++i) {
            Result result = packElement(field, header, buffer, cursor, record, i);
            if (result.code != 0) return result;
        }
    }
    return {};
}

Result unpack(const Record& table, const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
              unsigned* cursor, void* record) {
    if (header == nullptr) return {1, {}};
    if (buffer == nullptr) return {3, {}};
    if (cursor == nullptr) return {9, {}};
    if (record == nullptr) return {6, {}};
    for (const Field& field : table.fields) {
        const std::uint64_t count = elements(table, field, record);
        if (count > field.capacity) return {8, {}};
        if (isBlock(field) && !fits(header->length, *cursor, count * field.wireBytes)) return {4, {}};
        for (std::uint64_t i = 0; i < count; ++i) {
            Result result = unpackElement(field, header, buffer, cursor, record, i);
            if (result.code != 0) return result;
        }
    }
    return {};
}

std::uint64_t packedSize(const Record& table, const void* record) {
    return rawPayload(table, record).size();
}

std::vector<unsigned char> rawPayload(const Record& table, const void* record) {
    std::vector<unsigned char> payload;
    for (const Field& field : table.fields) {
        for (std::uint64_t i = 0; i < elements(table, field, record); ++i) {
            const std::vector<unsigned char> empty(field.kind == Kind::RECORD ? field.record->bytes : 0);
            if (field.kind == Kind::RECORD) {
                const void* const nested =
                    i < field.capacity ? elementAt(field, record, i) : static_cast<const void*>(empty.data());
                const auto inner = rawPayload(*field.record, nested);
                payload.insert(payload.end(), inner.begin(), inner.end());
                continue;
            }
            payload.resize(payload.size() + field.wireBytes);
            putBytes(&payload[payload.size() - field.wireBytes],
                     i < field.capacity ? load(field, record, i) : 0, field.wireBytes);
        }
    }
    return payload;
}

std::string text(const Record& table, const void* record) {
    std::string whole;
    for (const Field& field : table.fields) {
        const std::uint64_t count = elements(table, field, record);
        if (field.isArray) {
            whole += std::string(field.name) + "[" + std::to_string(static_cast<int>(count)) + "]:";
        }
        const std::uint64_t shown = std::min({count, std::uint64_t{20}, field.capacity});
        for (std::uint64_t i = 0; i < shown; ++i) {
            if (field.kind == Kind::RECORD) {
                whole += text(*field.record, elementAt(field, record, i));
            } else if (field.isArray) {
                whole += elementText(field, load(field, record, i)) + (i + 1 == shown ? ";" : ",");
            } else {
                whole += std::string(field.name) + ":" + valueText(field, load(field, record)) + ";";
            }
        }
    }
    return whole;
}

}  // namespace oracle
