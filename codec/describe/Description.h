#pragma once

#include "codec/MessageFrame.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/**
 * What the schemas say of messages and records, for programs that look at payloads whose type they learn at
 * run time: tools and tests. The tables are generated beside the codec; the codec itself doesn't use them,
 * and they don't go into the product. Everything lives as long as the program, and nothing changes.
 */
namespace codec::describe {

/** An enumeration's value set. Values are those of the wire, at its width, a signed one's with their sign. */
struct Enumeration {
    enum class Kind : std::uint8_t { RANGES, MASK, ANY };
    struct Range {
        std::int64_t first;
        std::int64_t last;  ///< inclusive
    };
    struct Enumerator {
        std::string_view name;
        std::int64_t value;
    };

    std::string_view name;
    unsigned wireBits;  ///< 8, 16 or 32
    bool isSigned;      ///< it has negative values
    Kind kind;
    std::span<const Range> ranges;  ///< ascending; of RANGES alone
    std::uint32_t mask;             ///< of MASK alone
    std::span<const Enumerator> names;
    bool (*hasValue)(std::uint32_t value);  ///< the codec's own test, of the value cut to the wire's width
    std::string_view comment;
    bool assumed;
};

struct Record;

/** One field; an array is one field with its count in another, or a fixed number of bytes. */
struct Field {
    enum class Kind : std::uint8_t { UNSIGNED, SIGNED, BOOL, ENUM, RECORD };
    static constexpr std::size_t NO_COUNT = SIZE_MAX;

    std::string_view name;
    Kind kind;
    unsigned wireBits;         ///< of one element; 0 of a RECORD
    std::size_t memberOffset;  ///< of the member in the record's struct, in bytes
    std::size_t memberBytes;   ///< of the whole member
    bool isArray;
    std::size_t capacity;    ///< elements there is room for: a counted array's maximum, a fixed one's size
    std::size_t countField;  ///< index of the field that counts, NO_COUNT for a fixed array or a single value
    const Enumeration* enumeration;  ///< of an ENUM alone
    const Record* record;            ///< of a RECORD alone
    std::string_view comment;        ///< unit and meaning, from the schema

    /** From one element to the next in memory. */
    std::size_t elementBytes() const { return memberBytes / capacity; }
};

/** A record's fields, and its functions under signatures that all share; `record` points to its struct. */
struct Record {
    std::string_view name;
    std::string_view family;  ///< the schema file's name without its ending
    std::string_view comment;
    bool assumed;           ///< its layout was chosen, not agreed
    bool assumedNames;      ///< its bytes are agreed, the names of its fields were chosen
    std::size_t bytes;      ///< of the struct
    std::size_t alignment;  ///< of the struct
    std::uint64_t smallestPayload;
    std::uint64_t largestPayload;
    std::span<const Field> fields;

    tPackErrorCode (*pack)(const sQlet1Mod4MessageHdr*, unsigned char*, unsigned*, const void* record);
    tUnpackErrorCode (*unpack)(const sQlet1Mod4MessageHdr*, const unsigned char*, unsigned*, void* record);
    std::uint64_t (*packedSize)(const void* context, const void* record);
    void (*toString)(const void* record, char* text, std::size_t size);  ///< null if it has no text form
};

struct Message {
    std::uint16_t id;
    std::string_view name;
    std::string_view payload;  ///< the type's own name, which is a wrapper's for many
    const Record* record;      ///< what the wrapper forwards to

    tPackErrorCode (*pack)(sQlet1Mod4MessageHdr*, unsigned char*, unsigned size, const void* record);
    tUnpackErrorCode (*unpack)(const sQlet1Mod4MessageHdr*, const unsigned char*, void* record);
    // The payload's own, which are not its record's if it is a wrapper.
    tPackErrorCode (*packPayload)(const sQlet1Mod4MessageHdr*, unsigned char*, unsigned*, const void* record);
    tUnpackErrorCode (*unpackPayload)(const sQlet1Mod4MessageHdr*, const unsigned char*, unsigned*,
                                      void* record);
    std::uint64_t (*packedSize)(const void* context, const void* record);
    void (*toString)(const void* record, char* text, std::size_t size);  ///< null if it has no text form
    std::string_view comment;
};

/** All of them; messages ascend by id, records and enumerations by name. */
std::span<const Message> messages();
std::span<const Record* const> records();
std::span<const Enumeration* const> enumerations();

/** Null if there is none. */
const Message* findMessage(std::uint16_t id);
const Message* findMessage(std::string_view name);
const Record* findRecord(std::string_view name);

}  // namespace codec::describe
