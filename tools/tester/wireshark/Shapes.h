// What stands in a payload, told to programs that don't know its C++ type. Made from the types that the
// binding reads and writes, so that it says what they do.
//
// A shape is an object with these keys:
//
//   name          of the field that it describes; elements of a list have the list's
//   kind          number, array (of so many bytes), bytes, text, map (of texts), list, structure,
//                 tagged (each member behind its tag, in any order, or not at all)
//   size          bytes of a number or an array
//   values        of a number: the table that names its values
//   length_field  bytes of the length field in front, 0 for none; numbers have no such key
//   counted       of bytes: the array in front counts the entries that they consist of
//   element       of a list
//   members       of a structure, each of a tagged one with the data id `tag`
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "binding/payload/Serialization_properties.h"
#include "binding/payload/Types.h"
#include "tools/tester/Report.h"

namespace tester::wireshark {

using Json = nlohmann::ordered_json;
using ac::com::someip::serialization::Serialization_properties;

/// What a structure's members are called. Most have no names in the interfaces, and are "field_1" and so on.
template <class T>
inline constexpr std::array<char const*, 0> MEMBER_NAMES{};

/// The table that names an enumeration's values.
template <class T>
inline constexpr char const* VALUE_NAMES = nullptr;

template <class T>
Json shape(std::string const& name, Serialization_properties const& properties);

/// "field_3" for index 2, unless there is a name.
template <class Names>
std::string nameOf(Names const& names, std::size_t index, char const* kind = "field") {
    return index < names.size() ? std::string(names[index]) : kind + ("_" + std::to_string(index + 1));
}

template <class T>
struct Plain {
    using Type = T;
};
template <class T>
struct Plain<eb::com::optional<T>> {
    using Type = T;
};

/// The shapes of a structure's members.
template <class T>
Json memberShapes(Serialization_properties const& properties) {
    namespace wire = ac::com::someip::serialization;
    Json members = Json::array();
    [&]<class... Member>(std::tuple<Member&...>*) {
        (members.push_back(
             shape<typename Plain<Member>::Type>(nameOf(MEMBER_NAMES<T>, members.size()), properties)),
         ...);
    }(static_cast<decltype(std::declval<T&>().fields())*>(nullptr));
    for (std::size_t index = 0; index < members.size(); ++index) {
        if constexpr (wire::Tagged_structure<T>) members[index]["tag"] = T::TAGS[index].data_id;
        if (index == 0 || members[index]["kind"] != "bytes") continue;
        Json const& count = members[index - 1];
        if (count["kind"] == "array" && index + 1 == members.size() && countsEntries(count["size"]))
            members[index]["counted"] = true;
    }
    return members;
}

template <class T>
Json shape(std::string const& name, Serialization_properties const& properties) {
    namespace wire = ac::com::someip::serialization;
    Json json{{"name", name}};
    if constexpr (wire::Number<T>) {
        json["kind"] = "number";
        json["size"] = sizeof(T);
        if (VALUE_NAMES<T>) json["values"] = VALUE_NAMES<T>;
        return json;
    } else {
        json["length_field"] = wire::length_field_size<T>(properties);
        if constexpr (std::is_same_v<T, std::string>) {
            json["kind"] = "text";
        } else if constexpr (std::is_same_v<T, wire::String_map>) {
            json["kind"] = "map";
        } else if constexpr (wire::Structure<T>) {
            json["kind"] = wire::Tagged_structure<T> ? "tagged" : "structure";
            json["members"] = memberShapes<T>(properties);
        } else if constexpr (std::is_same_v<T, std::vector<std::uint8_t>>) {
            json["kind"] = "bytes";
        } else if constexpr (wire::IS_VECTOR<T>) {
            json["kind"] = "list";
            json["element"] = shape<typename T::value_type>(name, properties);
        } else {
            static_assert(std::is_same_v<typename T::value_type, std::uint8_t>, "an array of bytes");
            json["kind"] = "array";
            json["size"] = std::tuple_size_v<T>;
        }
        return json;
    }
}

}  // namespace tester::wireshark
