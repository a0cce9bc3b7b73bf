#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
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
    template <class T>
    static nlohmann::json serialize(T const& value) {
        namespace payload = ac::com::someip::serialization;
        if constexpr (std::is_enum_v<T>) {
            return static_cast<std::underlying_type_t<T>>(value);
        } else if constexpr (payload::IS_OPTIONAL<T>) {
            return value ? serialize(*value) : nlohmann::json(nullptr);
        } else if constexpr (payload::Tagged_structure<T>) {
            nlohmann::json members = nlohmann::json::array();
            std::apply(
                [&](auto const&... field) {
                    (members.push_back(tagged(T::TAGS[members.size()], field)), ...);
                },
                value.fields());
            return members;
        } else if constexpr (payload::Structure<T>) {
            return std::apply(
                [](auto const&... field) { return nlohmann::json::array({serialize(field)...}); },
                value.fields());
        } else if constexpr (payload::Number<T> || std::is_same_v<T, std::string> ||
                             std::is_same_v<T, payload::String_map>) {
            return value;
        } else {
            nlohmann::json elements = nlohmann::json::array();
            for (auto const& element : value) {
                elements.push_back(serialize(element));
            }
            return elements;
        }
    }

private:
    template <class T>
    static nlohmann::json tagged(ac::com::someip::serialization::Structure_tag tag, T const& value) {
        return {
            {"_1WireType", number(tag.wire_type)}, {"_2DataID", tag.data_id}, {"_3Value", serialize(value)}};
    }
};

}  // namespace ac::com::json::serialization
