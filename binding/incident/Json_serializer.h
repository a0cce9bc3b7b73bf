#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "binding/payload/Types.h"

namespace ac::com::json::serialization {

/// Prints values of service data types as JSON, for people who read logs. Visits the same types as the
/// payload's serializer does: numbers; arrays and vectors as lists; a structure as the list of its fields,
/// whose names no interface tells; a tagged structure with the tag beside each member; an empty optional as
/// null.
class Json_serializer {
public:
    /// Puts the value at `json`, in place of what stands there.
    template <class T>
    static void serialize(T const& value, nlohmann::json& json) {
        namespace payload = ac::com::someip::serialization;
        if constexpr (std::is_enum_v<T>) {
            serialize(static_cast<std::underlying_type_t<T>>(value), json);
        } else if constexpr (payload::IS_OPTIONAL<T>) {
            value ? serialize(*value, json) : put_null(json);
        } else if constexpr (payload::Tagged_structure<T>) {
            begin_list(json);
            std::apply(
                [&](auto const&... field) {
                    std::size_t place = 0;
                    (serialize(field, append_tagged(json, T::TAGS[place++])), ...);
                },
                value.fields());
        } else if constexpr (payload::Structure<T>) {
            begin_list(json);
            std::apply([&](auto const&... field) { (serialize(field, append(json)), ...); }, value.fields());
        } else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, payload::String_map>) {
            put(json, value);
        } else if constexpr (std::is_same_v<T, bool>) {
            put(json, value);
        } else if constexpr (payload::Number<T>) {
            if constexpr (std::is_signed_v<T>) {
                put(json, std::int64_t{value});
            } else {
                put(json, std::uint64_t{value});
            }
        } else {
            begin_list(json);
            for (auto const& element : value) {
                serialize(element, append(json));
            }
        }
    }

private:
    static void put_null(nlohmann::json& json);
    static void put(nlohmann::json& json, bool value);
    static void put(nlohmann::json& json, std::int64_t value);
    static void put(nlohmann::json& json, std::uint64_t value);
    static void put(nlohmann::json& json, std::string const& value);
    static void put(nlohmann::json& json, ac::com::someip::serialization::String_map const& value);
    static void begin_list(nlohmann::json& json);
    /// A new last element of the list.
    static nlohmann::json& append(nlohmann::json& list);
    /// The same beside a tag.
    static nlohmann::json& append_tagged(nlohmann::json& list,
                                         ac::com::someip::serialization::Structure_tag tag);
};

}  // namespace ac::com::json::serialization
