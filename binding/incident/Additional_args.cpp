#include "binding/incident/Additional_args.h"

#include <nlohmann/json.hpp>

namespace ac::com::cpp_binding::log {

void to_json(nlohmann::json& json, Failure_text const& failure) {
    json["1_what"] = failure.what;
}

nlohmann::json& generated_value(nlohmann::json& json) {
    json["1_type"] = "generated_type";
    return json["2_value"];
}

void to_json(nlohmann::json& json, Undefined_data const&) {
    json["1_type"] = "undefined_type";
}

}  // namespace ac::com::cpp_binding::log

namespace ac::com::json::serialization::detail {

std::string get_json_dump(nlohmann::json const& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::json& Serialization_helper::data_object(nlohmann::json& json) {
    return json["2_data"];
}

}  // namespace ac::com::json::serialization::detail
