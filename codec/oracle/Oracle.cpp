#include "codec/oracle/Oracle.h"

#include <algorithm>
#include <cstring>

namespace oracle {

namespace {

using Kind = Field::Kind;

const unsigned char* elementAt(const Field& field, const void* record, std::uint64_t index) {
    return static_cast<const unsigned char*>(record) + field.memberOffset + index * field.elementBytes();
}

unsigned char* elementAt(const Field& field, void* record, std::uint64_t index) {
    return static_cast<unsigned char*>(record) + field.memberOffset + index * field.elementBytes();
}

std::uint64_t elements(const Record& table, const Field& field, const void* record) {
    if (!field.isArray) return 1;
    const Field* const count = countOf(table, field);
    return count == nullptr ? field.capacity : load(*count, record);
}

bool isSigned(const Field& field) {
    return field.kind == Kind::SIGNED || (field.kind == Kind::ENUM && field.enumeration->isSigned);
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
    if (field.kind == Kind::ENUM && !holds(*field.enumeration, value)) {
        return {9, {{std::string(field.enumeration->name), static_cast<unsigned>(value)}}};
    }
    if (!fits(header->length, *cursor, wireBytes(field))) return {3, {}};
    putBytes(buffer + *cursor, value, wireBytes(field));
    *cursor += wireBytes(field);
    return {};
}

Result unpackElement(const Field& field, const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
                     unsigned* cursor, void* record, std::uint64_t index) {
    if (field.kind == Kind::RECORD) {
        return unpack(*field.record, header, buffer, cursor, elementAt(field, record, index));
    }
    if (!fits(header->length, *cursor, wireBytes(field))) return {4, {}};
    std::uint64_t value = takeBytes(buffer + *cursor, wireBytes(field));
    *cursor += wireBytes(field);
    if (field.kind == Kind::ENUM && !holds(*field.enumeration, value)) {
        return {11, {{std::string(field.enumeration->name), static_cast<unsigned>(value)}}};
    }
    if (field.kind == Kind::BOOL) value = value != 0 ? 1 : 0;
    if (isSigned(field) && wireBytes(field) < 8 && ((value >> (8 * wireBytes(field) - 1)) & 1) != 0) {
        value |= ~std::uint64_t{0} << (8 * wireBytes(field));
    }
    store(field, record, value, index);
    return {};
}

std::string valueText(const Field& field, std::uint64_t value) {
    value = onWire(field, value);
    if (field.kind == Kind::BOOL) return value != 0 ? "true" : "false";
    if (wireBytes(field) == 8) return std::to_string(static_cast<std::int64_t>(value));
    if (isSigned(field) && wireBytes(field) == 1) return std::to_string(static_cast<std::int8_t>(value));
    if (isSigned(field) && wireBytes(field) == 2) return std::to_string(static_cast<std::int16_t>(value));
    const bool hasMinus = isSigned(field) || (field.kind == Kind::ENUM && wireBytes(field) == 4);
    return hasMinus ? std::to_string(static_cast<std::int32_t>(value)) : std::to_string(value);
}

std::string elementText(const Field& field, std::uint64_t value) {
    static const char* const DIGITS = "0123456789abcdef";
    value = onWire(field, value);
    if (wireBytes(field) == 1) return {DIGITS[value >> 4], DIGITS[value & 15]};
    return wireBytes(field) == 4 ? std::to_string(static_cast<std::int32_t>(value)) : std::to_string(value);
}

}  // namespace

bool holds(const Enumeration& set, std::uint64_t value) {
    if (set.kind == Enumeration::Kind::ANY) return true;
    if (set.kind == Enumeration::Kind::MASK) return (value & ~std::uint64_t{set.mask}) == 0;
    const unsigned unused = 64 - set.wireBits;
    const auto number = static_cast<std::int64_t>(value << unused);
    const std::int64_t wanted = set.isSigned ? number >> unused : static_cast<std::int64_t>(value);
    return std::ranges::any_of(set.ranges,
                               [&](const auto& each) { return each.first <= wanted && wanted <= each.last; });
}

std::vector<std::uint64_t> edges(const Enumeration& set) {
    const std::uint64_t most = (std::uint64_t{1} << set.wireBits) - 1;
    std::vector<std::uint64_t> values = {0, 1, most, most - 1, most / 2, most / 2 + 1};
    for (const auto& [first, last] : set.ranges) {
        for (const std::int64_t edge : {first - 1, first, last, last + 1}) {
            const std::uint64_t value = static_cast<std::uint64_t>(edge) & most;
            values.push_back(value);
            values.push_back(value | (most + 1));  // the same once it is cut to the wire's width
        }
    }
    for (unsigned bit = 0; set.mask != 0 && bit < set.wireBits; ++bit) {
        values.push_back(std::uint64_t{1} << bit);
    }
    std::ranges::sort(values);
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

std::uint64_t lastValue(const Enumeration& set) {
    if (set.ranges.empty()) return set.mask;
    return static_cast<std::uint64_t>(set.ranges.back().last) & ((std::uint64_t{1} << set.wireBits) - 1);
}

const Field* countOf(const Record& table, const Field& field) {
    return field.countField == Field::NO_COUNT ? nullptr : &table.fields[field.countField];
}

unsigned wireBytes(const Field& field) {
    return field.wireBits / 8;
}

std::uint64_t load(const Field& field, const void* record, std::uint64_t index) {
    std::uint64_t value = 0;
    std::memcpy(&value, elementAt(field, record, index), field.elementBytes());
    return value;
}

void store(const Field& field, void* record, std::uint64_t value, std::uint64_t index) {
    std::memcpy(elementAt(field, record, index), &value, field.elementBytes());
}

std::uint64_t onWire(const Field& field, std::uint64_t value) {
    return wireBytes(field) == 8 ? value : value & ((std::uint64_t{1} << (8 * wireBytes(field))) - 1);
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
        if (isBlock(field) && !fits(header->length, *cursor, count * wireBytes(field))) return {3, {}};
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
        if (isBlock(field) && !fits(header->length, *cursor, count * wireBytes(field))) return {4, {}};
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
            payload.resize(payload.size() + wireBytes(field));
            putBytes(&payload[payload.size() - wireBytes(field)],
                     i < field.capacity ? load(field, record, i) : 0, wireBytes(field));
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
        const std::uint64_t shown = std::min<std::uint64_t>({count, 20, field.capacity});
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
