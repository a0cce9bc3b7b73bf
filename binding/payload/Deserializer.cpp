#include "binding/payload/Deserializer.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "binding/payload/Utf8_string.h"

namespace ac::com::someip::serialization::detail {

std::size_t vector_end(Read_buffer const& buffer, std::uint64_t length) {
    if (length > std::numeric_limits<std::size_t>::max() - buffer.position()) {
        throw std::overflow_error("Deserialization detected std::size_t overflow.");
    }
    if (length > buffer.size() - buffer.position()) {
        throw std::out_of_range("Deserialization calculated invalid end position.");
    }
    return buffer.position() + length;
}

void finish_record(Read_buffer& buffer, std::size_t end) {
    if (buffer.position() > end) {
        throw std::out_of_range(
            "Violation of [PRS_SOMEIP_00900]: Record length given by sender is too small. This is possibly "
            "due to a "
            "mismatch between the data models of sender and receiver.");
    }
    buffer.skip(end - buffer.position());
}

void deserialize_content(std::string& text, Read_buffer& buffer, std::size_t end) {
    text.clear();
    while (buffer.position() < end) {
        unsigned char byte = 0;
        buffer.read(&byte);
        text.push_back(static_cast<char>(byte));
    }
    if (text.starts_with(BYTE_ORDER_MARK)) {
        text.erase(0, BYTE_ORDER_MARK.size());
    }
    if (text.ends_with('\0')) {
        text.pop_back();
    }
}

void deserialize_content(String_map& map, Read_buffer& buffer, std::size_t end,
                         Serialization_properties const& properties) {
    map.clear();
    std::uint64_t const least = std::max<std::uint64_t>(1, 2 * properties.string_length_field_size);
    while (buffer.position() < end && end - buffer.position() >= least) {
        std::string key;
        std::string text;
        deserialize_dispatch(key, buffer, properties);
        deserialize_dispatch(text, buffer, properties);
        map.emplace(std::move(key), std::move(text));
    }
}

Structure_tag deserialize_tag(Read_buffer& buffer) {
    unsigned char high = 0;
    unsigned char low = 0;
    buffer.read(&high);
    buffer.read(&low);
    return Structure_tag::from_wire(static_cast<unsigned>(high) << 8U | low);
}

void check_wire_type(Wire_type source, Wire_type own) {
    if (source != own && !(has_length_field(source) && has_length_field(own))) {
        throw std::runtime_error("Invalid source tag wire type");
    }
}

void skip_member(Wire_type type, Read_buffer& buffer, Serialization_properties const& properties) {
    if (has_length_field(type)) {
        std::size_t const size = get_length_field_size_for_wire_type(type, properties);
        buffer.skip(deserialize_length_field_dispatch(size, buffer, properties));
    } else {
        buffer.skip(plain_size(type));
    }
}

}  // namespace ac::com::someip::serialization::detail
