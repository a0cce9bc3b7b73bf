#include "binding/payload/Length_field.h"

#include <limits>
#include <stdexcept>
#include <string>

namespace ac::com::someip::serialization {
namespace {

template <class Length>
void serialize_checked(std::vector<unsigned char>& bytes, std::uint64_t length,
                       Serialization_properties const& properties) {
    if (length > std::numeric_limits<Length>::max()) {
        throw std::overflow_error("Calculated record length does not fit into configured length field");
    }
    serialize_length_field(bytes, static_cast<Length>(length), properties);
}

[[noreturn]] void throw_invalid_size() {
    throw std::invalid_argument("Invalid value for length field size.");
}

}  // namespace

std::size_t get_length_field_size_for_wire_type(Wire_type type, Serialization_properties const& properties) {
    switch (number(type)) {
        case 4: {
            std::uint64_t const array = properties.array_length_field_size;
            std::uint64_t const string = properties.string_length_field_size;
            std::uint64_t const structure = properties.structure_length_field_size;
            if (array == 0 || array != string || array != structure) {
                throw std::runtime_error(
                    "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 "
                    "when "
                    "wire type 4 is used (" +
                    std::to_string(array) + ", " + std::to_string(string) + ", " + std::to_string(structure) +
                    ")");
            }
            return array;
        }
        case 5:
            return 1;
        case 6:
            return 2;
        case 7:
            return 4;
        default:
            return 0;
    }
}

std::uint64_t deserialize_length_field_dispatch(std::uint64_t size, Read_buffer& buffer,
                                                Serialization_properties const& properties) {
    if (size != 1 && size != 2 && size != 4) {
        throw_invalid_size();
    }
    return deserialize_number(size, buffer, properties);
}

void serialize_length_field_dispatch(std::uint64_t size, std::uint64_t length,
                                     std::vector<unsigned char>& bytes,
                                     Serialization_properties const& properties) {
    switch (size) {
        case 0:
            return;
        case 1:
            return serialize_checked<std::uint8_t>(bytes, length, properties);
        case 2:
            return serialize_checked<std::uint16_t>(bytes, length, properties);
        case 4:
            return serialize_checked<std::uint32_t>(bytes, length, properties);
        default:
            throw_invalid_size();
    }
}

std::uint64_t deserialize_number(std::size_t size, Read_buffer& buffer,
                                 Serialization_properties const& properties) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
        unsigned char byte = 0;
        buffer.read(&byte);
        if (properties.little_endian()) {
            number |= static_cast<std::uint64_t>(byte) << (8U * i);
        } else {
            number = number << 8U | byte;
        }
    }
    return number;
}

}  // namespace ac::com::someip::serialization
