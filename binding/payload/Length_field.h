// Length fields: how long a string, array, structure or tagged member is, in bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "binding/payload/Read_buffer.h"
#include "binding/payload/Serialization_properties.h"
#include "binding/payload/Structure_tag.h"

namespace ac::com::someip::serialization {

/// Size in bytes of the length field that stands before a value of that wire type. Wire type 4 takes the
/// configured size, and throws std::runtime_error unless all three configured sizes are equal and not 0.
std::size_t get_length_field_size_for_wire_type(Wire_type type, Serialization_properties const& properties);

/// Reads a length field of 1, 2 or 4 bytes; any other size throws std::invalid_argument.
std::uint64_t deserialize_length_field_dispatch(std::uint64_t size, Read_buffer& buffer,
                                                Serialization_properties const& properties);

/// Appends a length field of 1, 2 or 4 bytes, or nothing for size 0; any other size throws
/// std::invalid_argument. A length that doesn't fit throws std::overflow_error.
void serialize_length_field_dispatch(std::uint64_t size, std::uint64_t length,
                                     std::vector<unsigned char>& bytes,
                                     Serialization_properties const& properties);

/// Appends a number in the configured byte order.
template <class Number>
void serialize_length_field(std::vector<unsigned char>& bytes, Number value,
                            Serialization_properties const& properties) {
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        std::size_t const shift = properties.little_endian() ? i : sizeof(Number) - 1 - i;
        bytes.push_back(static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8U * shift)));
    }
}

/// Reads `size` bytes as an unsigned number in the configured byte order.
std::uint64_t deserialize_number(std::size_t size, Read_buffer& buffer,
                                 Serialization_properties const& properties);

}  // namespace ac::com::someip::serialization
