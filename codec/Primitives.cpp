#include "codec/Primitives.h"

#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "the wire is little-endian, and so are the block copies");

namespace {

// The sum wraps like the cursor's own type; only arrays guard against that.
bool exceeds(unsigned int bound, unsigned int cursor, unsigned int size) {
    return cursor + size > bound;
}

bool blockExceeds(unsigned int bound, unsigned int cursor, unsigned int size) {
    return exceeds(bound, cursor, size) || cursor + size < size;
}

template <class Integer>
tPackErrorCode packScalar(unsigned int bound, unsigned char* buffer, unsigned int* cursor, Integer value) {
    if (cursor == nullptr) return ePackNoCursor;
    if (exceeds(bound, *cursor, sizeof value)) return ePackBufferTooSmall;
    if (buffer == nullptr) return ePackNoBuffer;
    std::memcpy(buffer + *cursor, &value, sizeof value);
    *cursor += static_cast<unsigned int>(sizeof value);
    return ePackOk;
}

template <class Integer>
tUnpackErrorCode unpackScalar(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              Integer* value) {
    if (cursor == nullptr) return eUnpackNoCursor;
    if (exceeds(bound, *cursor, sizeof *value)) return eUnpackTruncated;
    if (buffer == nullptr) return eUnpackNoBuffer;
    if (value == nullptr) return eUnpackNoRecord;
    std::memcpy(value, buffer + *cursor, sizeof *value);
    *cursor += static_cast<unsigned int>(sizeof *value);
    return eUnpackOk;
}

tPackErrorCode packBlock(unsigned int bound, unsigned char* buffer, unsigned int* cursor, const void* source,
                         unsigned int size) {
    if (cursor == nullptr) return ePackNoCursor;
    if (blockExceeds(bound, *cursor, size)) return ePackBufferTooSmall;
    if (buffer == nullptr || source == nullptr) return ePackNoBuffer;
    std::memcpy(buffer + *cursor, source, size);
    *cursor += size;
    return ePackOk;
}

tUnpackErrorCode unpackBlock(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                             void* destination, unsigned int size) {
    if (cursor == nullptr) return eUnpackNoCursor;
    if (blockExceeds(bound, *cursor, size)) return eUnpackTruncated;
    if (size == 0) return eUnpackOk;
    if (buffer == nullptr) return eUnpackNoBuffer;
    if (destination == nullptr) return eUnpackNoRecord;
    std::memcpy(destination, buffer + *cursor, size);
    *cursor += size;
    return eUnpackOk;
}

unsigned int bitArrayBytes(unsigned int count) {
    return count / 8 + (count % 8 != 0 ? 1 : 0);
}

}  // namespace

tPackErrorCode PackUint8(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                         std::uint8_t value) {
    return packScalar(bound, buffer, cursor, value);
}

tPackErrorCode PackUint16(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                          std::uint16_t value) {
    return packScalar(bound, buffer, cursor, value);
}

tPackErrorCode PackUint32(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                          std::uint32_t value) {
    return packScalar(bound, buffer, cursor, value);
}

tPackErrorCode PackUint64(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                          std::uint64_t value) {
    return packScalar(bound, buffer, cursor, value);
}

tPackErrorCode PackBool(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                        unsigned char value) {
    return packScalar(bound, buffer, cursor, value);
}

tUnpackErrorCode UnpackUint8(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                             std::uint8_t* value) {
    return unpackScalar(bound, buffer, cursor, value);
}

tUnpackErrorCode UnpackUint16(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              std::uint16_t* value) {
    return unpackScalar(bound, buffer, cursor, value);
}

tUnpackErrorCode UnpackUint32(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              std::uint32_t* value) {
    return unpackScalar(bound, buffer, cursor, value);
}

tUnpackErrorCode UnpackUint64(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              std::uint64_t* value) {
    return unpackScalar(bound, buffer, cursor, value);
}

tUnpackErrorCode UnpackBool(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                            unsigned char* value) {
    const tUnpackErrorCode code = unpackScalar(bound, buffer, cursor, value);
    if (code == eUnpackOk) *value = *value != 0 ? 1 : 0;
    return code;
}

tPackErrorCode PackUint8Array(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                              const std::uint8_t* source, unsigned int count) {
    return packBlock(bound, buffer, cursor, source, count);
}

tPackErrorCode PackUint16Array(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                               const std::uint16_t* source, unsigned int count) {
    return packBlock(bound, buffer, cursor, source, count * 2);
}

tPackErrorCode PackUint32Array(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                               const std::uint32_t* source, unsigned int count) {
    return packBlock(bound, buffer, cursor, source, count * 4);
}

tUnpackErrorCode UnpackUint8Array(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                  std::uint8_t* destination, unsigned int count) {
    return unpackBlock(bound, buffer, cursor, destination, count);
}

tUnpackErrorCode UnpackUint16Array(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                   std::uint16_t* destination, unsigned int count) {
    return unpackBlock(bound, buffer, cursor, destination, count * 2);
}

tUnpackErrorCode UnpackUint32Array(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                   std::uint32_t* destination, unsigned int count) {
    return unpackBlock(bound, buffer, cursor, destination, count * 4);
}

tPackErrorCode PackBoolArray(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                             const unsigned char* source, unsigned int count) {
    const unsigned int size = bitArrayBytes(count);
    if (cursor == nullptr) return ePackNoCursor;
    if (exceeds(bound, *cursor, size)) return ePackBufferTooSmall;
    if (buffer == nullptr) return ePackNoBuffer;
    unsigned char* const bytes = buffer + *cursor;
    std::memset(bytes, 0, size);
    for (unsigned int i = 0; i < count; ++i) {
        const bool set = i % 8 == 0 ? (source[i] & 1u) != 0 : source[i] != 0;
        if (set) bytes[i / 8] = static_cast<unsigned char>(bytes[i / 8] | (0x80u >> (i % 8)));
    }
    *cursor += size;
    return ePackOk;
}

tUnpackErrorCode UnpackBoolArray(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                 unsigned char* destination, unsigned int count) {
    const unsigned int size = bitArrayBytes(count);
    if (cursor == nullptr) return eUnpackNoCursor;
    if (exceeds(bound, *cursor, size)) return eUnpackTruncated;
    if (count == 0) return eUnpackOk;
    if (buffer == nullptr) return eUnpackNoBuffer;
    if (destination == nullptr) return eUnpackNoRecord;
    const unsigned char* const bytes = buffer + *cursor;
    for (unsigned int i = 0; i < count; ++i) {
        destination[i] = (bytes[i / 8] & (0x80u >> (i % 8))) != 0 ? 1 : 0;
    }
    *cursor += size;
    return eUnpackOk;
}
