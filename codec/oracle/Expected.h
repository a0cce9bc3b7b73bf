#pragma once

#include "codec/describe/Description.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/**
 * What the generated descriptions have to say of the first families and of the golden one, written by hand:
 * an error of the generator cannot hide in both.
 */
namespace oracle::expected {

using Kind = codec::describe::Field::Kind;

struct EnumSet {
    const char* name;
    unsigned bits;
    std::vector<std::pair<std::int64_t, std::int64_t>> ranges;
    std::uint64_t mask = 0;  ///< if not 0, any of these bits, and no ranges
    bool any = false;
    bool isSigned = false;
};

struct Record;

struct Field {
    const char* name;
    std::size_t offset;       ///< of the member
    std::size_t memberBytes;  ///< of the whole member
    Kind kind;
    unsigned wireBytes = 0;  ///< of one element
    const EnumSet* set = nullptr;
    const Record* record = nullptr;
    bool isArray = false;
    std::size_t capacity = 1;     ///< elements in memory
    const char* count = nullptr;  ///< the member that counts; a fixed array has none
};

struct Record {
    const char* name;
    std::size_t bytes;
    std::vector<Field> fields;
    bool hasText = false;
};

struct Message {
    std::uint16_t id;
    const char* name;
    const char* payload;
    const Record* record;
};

struct Family {
    std::vector<const Record*> records;
    std::vector<Message> messages;
};

const Record& codingTable();
const Family& diagmgr();
const Family& diagnostics();
const Family& sample();

inline Field unsignedField(const char* name, std::size_t offset, std::size_t bytes, unsigned wireBytes) {
    return {name, offset, bytes, Kind::UNSIGNED, wireBytes};
}

inline Field signedField(const char* name, std::size_t offset, std::size_t bytes, unsigned wireBytes) {
    return {name, offset, bytes, Kind::SIGNED, wireBytes};
}

inline Field boolField(const char* name, std::size_t offset, std::size_t bytes) {
    return {name, offset, bytes, Kind::BOOL, 1};
}

inline Field enumField(const char* name, std::size_t offset, std::size_t bytes, const EnumSet& set) {
    return {name, offset, bytes, Kind::ENUM, set.bits / 8, &set};
}

inline Field recordField(const char* name, std::size_t offset, std::size_t bytes, const Record& record) {
    return {name, offset, bytes, Kind::RECORD, 0, nullptr, &record};
}

inline Field fixedBytes(const char* name, std::size_t offset, std::size_t bytes) {
    return {name, offset, bytes, Kind::UNSIGNED, 1, nullptr, nullptr, true, bytes};
}

/** Makes a field of one element an array of at most `maximum`, counted by the member `count`. */
inline Field counted(Field element, const char* count, std::size_t maximum) {
    element.isArray = true;
    element.count = count;
    element.capacity = maximum;
    return element;
}

}  // namespace oracle::expected

// The member that a field lives in.
#define MEMBER(record, member) #member, offsetof(record, member), sizeof(record::member)
