#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "binding/payload/Length_field.h"
#include "binding/payload/Types.h"

namespace ac::com::someip::serialization {

template <class T>
void serialize_dispatch(T const& value, std::vector<unsigned char>& bytes,
                        Serialization_properties const& properties);

namespace detail {

void serialize_content(std::string const& text, std::vector<unsigned char>& bytes);

template <class T>
void serialize_content(T const& value, std::vector<unsigned char>& bytes,
                       Serialization_properties const& properties);

/// Appends a length field of `size` bytes and the content that it measures.
template <class T>
void serialize_record(std::uint64_t size, T const& value, std::vector<unsigned char>& bytes,
                      Serialization_properties const& properties) {
    std::vector<unsigned char> content;
    serialize_content(value, content, properties);
    serialize_length_field_dispatch(size, content.size(), bytes, properties);
    bytes.insert(bytes.end(), content.begin(), content.end());
}

/// Appends tag, length field if the wire type has one, and value. An empty optional appends nothing.
template <class T>
void serialize_member(Structure_tag tag, T const& value, std::vector<unsigned char>& bytes,
                      Serialization_properties const& properties) {
    if constexpr (IS_OPTIONAL<T>) {
        if (value) {
            serialize_member(tag, *value, bytes, properties);
        }
    } else {
        bytes.push_back(static_cast<unsigned char>(tag.to_wire() >> 8U));
        bytes.push_back(static_cast<unsigned char>(tag.to_wire() & 0xFFU));
        if (has_length_field(tag.wire_type)) {
            serialize_record(get_length_field_size_for_wire_type(tag.wire_type, properties), value, bytes,
                             properties);
        } else {
            serialize_dispatch(value, bytes, properties);
        }
    }
}

template <class T>
void serialize_content(T const& value, std::vector<unsigned char>& bytes,
                       Serialization_properties const& properties) {
    if constexpr (Number<T>) {
        serialize_length_field(bytes, value, properties);
    } else if constexpr (std::is_same_v<T, std::string>) {
        serialize_content(value, bytes);
    } else if constexpr (std::is_same_v<T, String_map>) {
        for (auto const& [key, text] : value) {
            serialize_dispatch(key, bytes, properties);
            serialize_dispatch(text, bytes, properties);
        }
    } else if constexpr (Tagged_structure<T>) {
        std::size_t index = 0;
        std::apply(
            [&](auto const&... field) {
                (serialize_member(T::TAGS[index++], field, bytes, properties), ...);
            },
            value.fields());
    } else if constexpr (Structure<T>) {
        std::apply([&](auto const&... field) { (serialize_dispatch(field, bytes, properties), ...); },
                   value.fields());
    } else {
        for (auto const& element : value) {
            serialize_dispatch(element, bytes, properties);
        }
    }
}

}  // namespace detail

/// Appends a value, with the length field that its type has. Throws std::invalid_argument for a vector
/// without a length field, whose end nobody could tell, and std::overflow_error for a length that doesn't
/// fit.
template <class T>
void serialize_dispatch(T const& value, std::vector<unsigned char>& bytes,
                        Serialization_properties const& properties) {
    if constexpr (Number<T>) {
        detail::serialize_content(value, bytes, properties);
    } else {
        std::uint64_t const size = length_field_size<T>(properties);
        if (IS_VECTOR<T> && size == 0) {
            throw std::invalid_argument(
                "Vectors must have a length field that deserializer can also deserialize it. Violation of "
                "PRS_SOMEIP_00376 & PRS_SOMEIP_00107!");
        }
        detail::serialize_record(size, value, bytes, properties);
    }
}

/// Appends values to a payload that it refers to. Used by one thread.
class Serializer {
public:
    explicit Serializer(std::vector<unsigned char>& bytes,
                        Serialization_properties const& properties = {}) noexcept
        : m_bytes(bytes), m_properties(properties) {}

    template <class T>
    void serialize(T const& value) {
        serialize_dispatch(value, m_bytes, m_properties);
    }

private:
    std::vector<unsigned char>& m_bytes;
    Serialization_properties m_properties;
};

/// The payload of one value.
template <class T>
std::vector<unsigned char> to_bytes(T const& value, Serialization_properties const& properties = {}) {
    std::vector<unsigned char> bytes;
    serialize_dispatch(value, bytes, properties);
    return bytes;
}

}  // namespace ac::com::someip::serialization
