// Which C++ types travel as what.
//
//   integers, enumerations          a number in the configured byte order
//   std::array, std::vector, std::map<std::string, std::string>, std::string
//                                   a length field in bytes, then the content
//   a class with fields()           its fields in order, after a length field if structures have one
//   a class with fields() and TAGS  each field behind its tag, in any order
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "binding/payload/Serialization_properties.h"
#include "binding/payload/Structure_tag.h"

namespace eb::com {

/// A member that a tagged structure may leave out.
template <class T>
using optional = std::optional<T>;
using bad_optional_access = std::bad_optional_access;

}  // namespace eb::com

namespace ac::com::someip::serialization {

using String_map = std::map<std::string, std::string>;

template <class T>
concept Number = std::is_integral_v<T> || std::is_enum_v<T>;

/// `auto fields()` gives references to the members, in the order of the wire.
template <class T>
concept Structure = requires(T& value) {
    value.fields();
};

/// `static constexpr std::array<Structure_tag, N> TAGS` gives the tag of each field.
template <class T>
concept Tagged_structure = Structure<T> && requires {
    Tag_list(T::TAGS);
};

template <class T>
inline constexpr bool IS_VECTOR = false;
template <class T>
inline constexpr bool IS_VECTOR<std::vector<T>> = true;

template <class T>
inline constexpr bool IS_OPTIONAL = false;
template <class T>
inline constexpr bool IS_OPTIONAL<eb::com::optional<T>> = true;

/// The configured size of the length field before a value of type T.
template <class T>
std::uint64_t length_field_size(Serialization_properties const& properties) noexcept {
    static_assert(!Number<T>, "numbers have no length field");
    if constexpr (std::is_same_v<T, std::string>) {
        return properties.string_length_field_size;
    } else if constexpr (Structure<T>) {
        return properties.structure_length_field_size;
    } else {
        return properties.array_length_field_size;
    }
}

/// Bytes that a value of type T takes at least, without length fields. Room to reserve, no limit.
template <class T>
constexpr std::size_t size_estimate() {
    if constexpr (Number<T>) {
        return sizeof(T);
    } else if constexpr (Structure<T>) {
        return []<class... Field>(std::tuple<Field&...>*) {
            return (std::size_t{0} + ... + size_estimate<Field>());
        }(static_cast<decltype(std::declval<T&>().fields())*>(nullptr));
    } else if constexpr (requires { std::tuple_size<T>::value; }) {
        return std::tuple_size_v<T> * size_estimate<typename T::value_type>();
    } else {
        return 0;
    }
}

}  // namespace ac::com::someip::serialization
