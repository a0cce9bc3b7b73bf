// What an incident is told with beyond its own record.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "binding/incident/Json_serializer.h"

namespace ac::com::cpp_binding::log {

/// The text of a failure.
struct Failure_text {
    std::string what;
};
void to_json(nlohmann::json& json, Failure_text const& failure);

/// Data of a service's type, printed in full. Refers to it.
template <class T>
struct Generated_data {
    T const& value;
};
/// Begins the object of generated data; gives the place for its value.
nlohmann::json& generated_value(nlohmann::json& json);
template <class T>
void to_json(nlohmann::json& json, Generated_data<T> const& data) {
    ac::com::json::serialization::Json_serializer::serialize(data.value, generated_value(json));
}

/// Data that no printed form exists for.
struct Undefined_data {};
void to_json(nlohmann::json& json, Undefined_data const&);

}  // namespace ac::com::cpp_binding::log

namespace ac::com::json::serialization::detail {

/// The JSON on one line, with bytes that are no UTF-8 replaced.
std::string get_json_dump(nlohmann::json const& json);

struct Serialization_helper {
    /// Adds what was told beside the incident as one object under "2_data".
    template <class... Args>
    static void serialize_additional_args(nlohmann::json& json, Args const&... args) {
        if constexpr (sizeof...(Args) > 0) {
            nlohmann::json& data = data_object(json);
            (to_json(data, args), ...);
        }
    }

private:
    static nlohmann::json& data_object(nlohmann::json& json);
};

}  // namespace ac::com::json::serialization::detail
