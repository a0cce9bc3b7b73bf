// What an incident is told with beyond its own record.
#pragma once

#include <exception>
#include <nlohmann/json.hpp>
#include <string>

#include "binding/incident/Json_serializer.h"

namespace ac::com::cpp_binding::log {

/// The text of a failure.
struct Failure_text {
    std::string what;
};
inline void to_json(nlohmann::json& json, Failure_text const& failure) {
    json["1_what"] = failure.what;
}

/// Data of a service's type, printed in full. Refers to it.
template <class T>
struct Generated_data {
    T const& value;
};
template <class T>
void to_json(nlohmann::json& json, Generated_data<T> const& data) {
    json["1_type"] = "generated_type";
    json["2_value"] = ac::com::json::serialization::Json_serializer::serialize(data.value);
}

/// Data that no printed form exists for.
struct Undefined_data {};
inline void to_json(nlohmann::json& json, Undefined_data const&) {
    json["1_type"] = "undefined_type";
}

}  // namespace ac::com::cpp_binding::log

namespace ac::com::json::serialization::detail {

/// The JSON on one line, with bytes that are no UTF-8 replaced.
std::string get_json_dump(nlohmann::json const& json);

struct Serialization_helper {
    /// Adds what was told beside the incident as one object under "2_data".
    template <class... Args>
    static void serialize_additional_args(nlohmann::json& json, Args const&... args) {
        if constexpr (sizeof...(Args) > 0) {
            (json["2_data"].update(nlohmann::json(args)), ...);
        }
    }
};

}  // namespace ac::com::json::serialization::detail
