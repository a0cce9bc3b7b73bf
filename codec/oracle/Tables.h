#pragma once

#include "codec/oracle/Oracle.h"

#include <utility>

// Words to write a record's table with. MEMBER names the member that a field lives in.
#define MEMBER(record, member) #member, offsetof(record, member), sizeof(record::member)

namespace oracle {

inline Field unsignedField(const char* name, std::size_t offset, std::size_t bytes, unsigned wireBytes) {
    return {name, offset, bytes, Field::Kind::UNSIGNED, wireBytes};
}

inline Field signedField(const char* name, std::size_t offset, std::size_t bytes, unsigned wireBytes) {
    return {name, offset, bytes, Field::Kind::SIGNED, wireBytes};
}

inline Field boolField(const char* name, std::size_t offset, std::size_t bytes) {
    return {name, offset, bytes, Field::Kind::BOOL, 1};
}

inline Field enumField(const char* name, std::size_t offset, std::size_t bytes, const EnumSet& set) {
    return {name, offset, bytes, Field::Kind::ENUM, set.bits / 8, &set};
}

inline Field recordField(const char* name, std::size_t offset, std::size_t bytes, const Record& record) {
    return {name, offset, bytes, Field::Kind::RECORD, 0, nullptr, &record};
}

inline Field fixedBytes(const char* name, std::size_t offset, std::size_t bytes) {
    return {name, offset, bytes, Field::Kind::UNSIGNED, 1, nullptr, nullptr, true, bytes};
}

/** Makes a field of one element an array of at most `maximum`, counted by the member `count`. */
inline Field counted(Field element, const char* count, std::uint64_t maximum) {
    element.isArray = true;
    element.count = count;
    element.capacity = maximum;
    return element;
}

}  // namespace oracle
