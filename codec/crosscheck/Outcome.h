#pragma once

#include "codec/oracle/Oracle.h"

#include <cstdint>
#include <string>
#include <vector>

/**
 * What the generated codec makes of random payloads, in a form that can be held against another build's or
 * another language's. An input follows from a seed and its index alone, so that any one of them can be looked
 * at again.
 */
namespace crosscheck {

struct Input {
    const codec::describe::Message* message = nullptr;
    std::vector<unsigned char> payload;  ///< valid, with bytes changed, cut, or too long
    std::vector<unsigned char> record;   ///< to be packed; it may break the record's rules
    std::uint64_t choice = 0;            ///< from which sizes of buffers are taken
};
Input input(std::uint64_t seed, std::uint64_t index);

struct Unpacked {
    int code = 0;
    unsigned cursor = 0;                ///< where the record's own function stopped
    std::vector<unsigned char> record;  ///< in memory; what wasn't unpacked has a pattern in it
    std::vector<oracle::RangeError> rangeErrors;

    /** The whole record was in the payload. */
    bool isFilled() const { return code == eUnpackOk || code == eUnpackTrailingBytes; }
};
Unpacked unpack(const Input& input);

struct Packed {
    int code = 0;
    unsigned length = 0;                ///< the header's
    std::vector<unsigned char> buffer;  ///< of the size given; what wasn't written is 0
    std::vector<oracle::RangeError> rangeErrors;
};
Packed pack(const codec::describe::Message& message, const std::vector<unsigned char>& record,
            std::size_t size);

/** The text in a buffer of `size` bytes; empty if the message has none. */
std::string text(const codec::describe::Message& message, const std::vector<unsigned char>& record,
                 std::size_t size);

/** A buffer that holds every record's text. */
inline constexpr std::size_t TEXT_ROOM = 65536;

std::string hex(const std::vector<unsigned char>& bytes);

}  // namespace crosscheck
