#pragma once

#include <cstddef>
#include <cstdint>

namespace ac::com::someip::serialization {

/// How a service's payloads are laid out. The default is what all our services use: big-endian numbers, a
/// length field of 4 bytes before every array, vector, map and string, none before a structure.
struct Serialization_properties {
    static constexpr std::uint32_t LITTLE_ENDIAN_ORDER = 1234;
    static constexpr std::uint32_t BIG_ENDIAN_ORDER = 4321;

    std::uint32_t byte_order = BIG_ENDIAN_ORDER;  ///< 1234 is little-endian, anything else big-endian
    // Sizes of length fields in bytes: 1, 2 or 4, and 0 for no length field.
    std::uint64_t array_length_field_size = 4;  ///< fixed arrays, vectors and maps
    std::uint64_t string_length_field_size = 4;
    std::uint64_t structure_length_field_size = 0;

    bool little_endian() const noexcept { return byte_order == LITTLE_ENDIAN_ORDER; }
};

}  // namespace ac::com::someip::serialization
