#include "binding/incident/Records.h"

#include <nlohmann/json.hpp>

namespace eb::com::runtime {

void to_json(nlohmann::json& json, Service_id const& id) {
    json = {{"1_id", "Service_id"}, {"string", id.value}};
}

void to_json(nlohmann::json& json, Instance_id const& id) {
    json = {{"1_id", "Instance_id"}, {"2_string", id.value}};
}

void to_json(nlohmann::json& json, Service_interface_description const& description) {
    json = {{"1_major", description.major()}, {"2_minor", description.minor()}};
}

}  // namespace eb::com::runtime

namespace ac::com::cpp_binding::log {

void Instance_record::keys(nlohmann::json& json) const {
    json["2_service_id"] = service_id;
    json["3_instance_id"] = instance_id;
}

void Method_record::keys(nlohmann::json& json) const {
    Instance_record::keys(json);
    json["4_method_id"] = method_id;
}

void Method_error_record::keys(nlohmann::json& json) const {
    Method_record::keys(json);
    json["5_error_code"] = error_code;
}

void Call_record::keys(nlohmann::json& json) const {
    Method_record::keys(json);
    json["5_method_call_id"] = method_call_id;
}

void Reply_record::keys(nlohmann::json& json) const {
    Call_record::keys(json);
    json["6_error_code"] = error_code;
}

void Construction_record::keys(nlohmann::json& json) const {
    Instance_record::keys(json);
    json["4_struct4bytes"] = description;
    json["5_utf8simple"] = text;
}

void Event_record::keys(nlohmann::json& json) const {
    Instance_record::keys(json);
    json["4_event_id"] = event_id;
}

void Event_only_record::keys(nlohmann::json& json) const {
    json["2_Event_id"] = event_id;
}

template <char Place>
void Time_record<Place>::keys(nlohmann::json& json) const {
    Instance_record::keys(json);
    json[std::string{Place} + "_time"] = time;
}
template struct Time_record<'4'>;
template struct Time_record<'5'>;

void Unknown_instance_record::keys(nlohmann::json& json) const {
    json["2_instance_id"] = instance_id;
}

void name_incident(nlohmann::json& json, char const* name) {
    json["1_id"] = name;
}

}  // namespace ac::com::cpp_binding::log
