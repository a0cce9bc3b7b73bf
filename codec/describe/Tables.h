#pragma once

#include "codec/describe/Description.h"

// What the generated tables are written with; nobody else needs it.

namespace codec::describe {

/** What one schema file declares, in its order. */
struct Family {
    std::string_view name;
    std::string_view comment;
    std::span<const Enumeration* const> enumerations;
    std::span<const Record* const> records;
    std::span<const Message> messages;
};

/** All families of the catalogue. */
std::span<const Family* const> families();

// The codec's functions under the signatures that all records share.

template <class Wire>
bool hasValue(bool (*isOf)(Wire), std::uint32_t value) {
    return isOf(static_cast<Wire>(value));
}

template <auto HAS_VALUE>
bool hasValue(std::uint32_t value) {
    return hasValue(HAS_VALUE, value);
}

template <auto PACK, class Type>
tPackErrorCode packRecord(const sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned* cursor,
                          const void* record) {
    return PACK(header, buffer, cursor, static_cast<const Type*>(record));
}

template <auto UNPACK, class Type>
tUnpackErrorCode unpackRecord(const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
                              unsigned* cursor, void* record) {
    return UNPACK(header, buffer, cursor, static_cast<Type*>(record));
}

template <auto PACKED_SIZE, class Type>
std::uint64_t packedSizeOf(const void* context, const void* record) {
    return PACKED_SIZE(context, static_cast<const Type*>(record));
}

template <auto TO_STRING, class Type>
void toString(const void* record, char* text, std::size_t size) {
    TO_STRING(static_cast<const Type*>(record), text, size);
}

template <auto PACK, class Type>
tPackErrorCode packMessage(sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned size,
                           const void* record) {
    return PACK(header, buffer, size, static_cast<const Type*>(record));
}

template <auto UNPACK, class Type>
tUnpackErrorCode unpackMessage(const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
                               void* record) {
    return UNPACK(header, buffer, static_cast<Type*>(record));
}

}  // namespace codec::describe

/** Where a field's member lives. */
#define CODEC_MEMBER(record, member) offsetof(record, member), sizeof(record::member)

#define CODEC_ENUM_FUNCTION(type) hasValue<PackUnpackEnum##type##HasValue>
#define CODEC_RECORD_FUNCTIONS(type) \
    packRecord<Pack##type, type>, unpackRecord<Unpack##type, type>, packedSizeOf<PackedSizeOf##type, type>
#define CODEC_MESSAGE_FUNCTIONS(message, payload)                                 \
    packMessage<Pack##message, payload>, unpackMessage<Unpack##message, payload>, \
        CODEC_RECORD_FUNCTIONS(payload)
#define CODEC_TEXT_FUNCTION(type) toString<ToString##type, type>
