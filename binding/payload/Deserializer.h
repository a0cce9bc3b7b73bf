#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "binding/payload/Length_field.h"
#include "binding/payload/Types.h"

namespace ac::com::someip::serialization {

template <class T>
void deserialize_dispatch(T& value, Read_buffer& buffer, Serialization_properties const& properties);

namespace detail {

/// Where a vector of `length` bytes ends. Throws std::overflow_error if no position could tell that, and
/// std::out_of_range if it lies beyond the buffer.
std::size_t vector_end(Read_buffer const& buffer, std::uint64_t length);

/// Leaves a record at the end that its length field promised: what is left of it is skipped, and
/// std::out_of_range tells that its content took more.
void finish_record(Read_buffer& buffer, std::size_t end);

/// Reads text up to `end`; byte order mark and closing zero are taken off if they are there.
void deserialize_content(std::string& text, Read_buffer& buffer, std::size_t end);

/// Reads pairs as long as two length fields fit before `end`. The first of two equal keys counts.
void deserialize_content(String_map& map, Read_buffer& buffer, std::size_t end,
                         Serialization_properties const& properties);

/// Reads the tag before a member.
Structure_tag deserialize_tag(Read_buffer& buffer);

/// Throws std::runtime_error unless a member with the tag `own` may come with the wire type `source`: the
/// same, or any other with a length field, since senders choose its size.
void check_wire_type(Wire_type source, Wire_type own);

/// Skips the member of an unknown tag.
void skip_member(Wire_type type, Read_buffer& buffer, Serialization_properties const& properties);

template <class T>
void deserialize_content(T& value, Read_buffer& buffer, std::size_t end,
                         Serialization_properties const& properties);

/// Reads a length field of `size` bytes and the record that it announces; with size 0 the record
/// reaches as far as its content does, at most to the end of the buffer.
template <class T>
void deserialize_record(std::uint64_t size, T& value, Read_buffer& buffer,
                        Serialization_properties const& properties) {
    if (size == 0) {
        deserialize_content(value, buffer, buffer.size(), properties);
        return;
    }
    std::uint64_t const length = deserialize_length_field_dispatch(size, buffer, properties);
    std::size_t end = 0;
    if constexpr (IS_VECTOR<T>) {
        end = vector_end(buffer, length);
    } else {
        end = buffer.throw_if_out_of_range(length) + length;
    }
    deserialize_content(value, buffer, end, properties);
    finish_record(buffer, end);
}

template <class T>
void deserialize_member(Wire_type source, T& value, Read_buffer& buffer,
                        Serialization_properties const& properties) {
    if constexpr (IS_OPTIONAL<T>) {
        deserialize_member(source, value.emplace(), buffer, properties);
    } else if (has_length_field(source)) {
        deserialize_record(get_length_field_size_for_wire_type(source, properties), value, buffer,
                           properties);
    } else {
        deserialize_dispatch(value, buffer, properties);
    }
}

template <class T>
void deserialize_members(T& value, Read_buffer& buffer, std::size_t end,
                         Serialization_properties const& properties) {
    static constexpr Tag_list TAGS(T::TAGS);
    while (buffer.position() < end) {
        Structure_tag const tag = deserialize_tag(buffer);
        if (!TAGS.contains(tag.data_id)) {
            skip_member(tag.wire_type, buffer, properties);
            continue;
        }
        std::size_t const member = TAGS.index_of(tag.data_id);
        check_wire_type(tag.wire_type, TAGS[member].wire_type);
        std::size_t index = 0;
        std::apply(
            [&](auto&... field) {
                ((index++ == member ? deserialize_member(tag.wire_type, field, buffer, properties) : void()),
                 ...);
            },
            value.fields());
    }
}

template <class Element>
void deserialize_elements(std::vector<Element>& elements, Read_buffer& buffer, std::size_t end,
                          Serialization_properties const& properties) {
    elements.clear();
    while (buffer.position() < end) {
        std::size_t const before = buffer.position();
        deserialize_dispatch(elements.emplace_back(), buffer, properties);
        if (buffer.position() == before) {
            buffer.throw_if_out_of_range(
                std::numeric_limits<std::size_t>::max());  // elements of no size would never come to the end
        }
    }
}

template <class T>
void deserialize_content(T& value, Read_buffer& buffer, std::size_t end,
                         Serialization_properties const& properties) {
    if constexpr (Number<T>) {
        value = static_cast<T>(deserialize_number(sizeof(T), buffer, properties));
    } else if constexpr (std::is_same_v<T, std::string>) {
        deserialize_content(value, buffer, end);
    } else if constexpr (Tagged_structure<T>) {
        deserialize_members(value, buffer, end, properties);
    } else if constexpr (Structure<T>) {
        std::apply([&](auto&... field) { (deserialize_dispatch(field, buffer, properties), ...); },
                   value.fields());
    } else if constexpr (IS_VECTOR<T>) {
        deserialize_elements(value, buffer, end, properties);
    } else {
        for (auto& element : value) {
            deserialize_dispatch(element, buffer, properties);
        }
    }
}

}  // namespace detail

/// Reads a value with the length field that its type has. Failures are std::out_of_range,
/// std::overflow_error, std::invalid_argument and std::runtime_error; the position is anywhere then.
template <class T>
void deserialize_dispatch(T& value, Read_buffer& buffer, Serialization_properties const& properties) {
    if constexpr (Number<T>) {
        detail::deserialize_content(value, buffer, buffer.size(), properties);
    } else {
        detail::deserialize_record(length_field_size<T>(properties), value, buffer, properties);
    }
}

/// The value at the head of a payload; bytes behind it are not looked at.
template <class T>
T from_bytes(std::vector<unsigned char> const& bytes, Serialization_properties const& properties = {}) {
    Read_buffer buffer(bytes);
    T value{};
    deserialize_dispatch(value, buffer, properties);
    return value;
}

}  // namespace ac::com::someip::serialization
