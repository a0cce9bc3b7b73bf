#pragma once

#include "codec/MessageFrame.h"

#include <cstdint>

/**
 * The lowest layer of the codec: moves one integer or array between memory and wire.
 *
 * Every function tests that the cursor plus the item's size does not exceed the bound before it touches the
 * buffer, and advances the cursor only when it has moved the bytes. Integers are little-endian. The functions
 * keep no state and any thread may call them.
 */
tPackErrorCode PackUint8(unsigned int bound, unsigned char* buffer, unsigned int* cursor, std::uint8_t value);
tPackErrorCode PackUint16(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                          std::uint16_t value);
tPackErrorCode PackUint32(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                          std::uint32_t value);
tPackErrorCode PackUint64(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                          std::uint64_t value);
/** Writes the byte as it is stored: 2 stays 2. */
tPackErrorCode PackBool(unsigned int bound, unsigned char* buffer, unsigned int* cursor, unsigned char value);

tUnpackErrorCode UnpackUint8(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                             std::uint8_t* value);
tUnpackErrorCode UnpackUint16(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              std::uint16_t* value);
tUnpackErrorCode UnpackUint32(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              std::uint32_t* value);
tUnpackErrorCode UnpackUint64(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                              std::uint64_t* value);
/** Any byte but 0 becomes 1. */
tUnpackErrorCode UnpackBool(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                            unsigned char* value);

/**
 * Arrays are block copies in the byte order of this machine, which is the wire's. `count` is in elements.
 * A null source is refused even when nothing would be copied.
 */
tPackErrorCode PackUint8Array(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                              const std::uint8_t* source, unsigned int count);
tPackErrorCode PackUint16Array(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                               const std::uint16_t* source, unsigned int count);
tPackErrorCode PackUint32Array(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                               const std::uint32_t* source, unsigned int count);

/** A count of 0 is good whatever the pointers. */
tUnpackErrorCode UnpackUint8Array(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                  std::uint8_t* destination, unsigned int count);
tUnpackErrorCode UnpackUint16Array(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                   std::uint16_t* destination, unsigned int count);
tUnpackErrorCode UnpackUint32Array(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                   std::uint32_t* destination, unsigned int count);

/**
 * Eight booleans to a byte, the first in the top bit, bits past the last element 0. The first of each eight
 * gives its low bit, the other seven whether they are not 0: a stored 2 counts as false in the first place.
 */
tPackErrorCode PackBoolArray(unsigned int bound, unsigned char* buffer, unsigned int* cursor,
                             const unsigned char* source, unsigned int count);
tUnpackErrorCode UnpackBoolArray(unsigned int bound, const unsigned char* buffer, unsigned int* cursor,
                                 unsigned char* destination, unsigned int count);

/**
 * Told of each value outside its enumeration. The codec declares it and leaves it to the program to define,
 * so that whoever links the codec decides where the line goes.
 */
void rangeCheckErrorLog(char const* enumName, unsigned int value);
