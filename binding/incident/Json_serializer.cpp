#include "binding/incident/Json_serializer.h"

#include <nlohmann/json.hpp>

namespace ac::com::json::serialization {

void Json_serializer::put_null(nlohmann::json& json) {
    json = nullptr;
}

void Json_serializer::put(nlohmann::json& json, bool value) {
    json = value;
}

void Json_serializer::put(nlohmann::json& json, std::int64_t value) {
    json = value;
}

void Json_serializer::put(nlohmann::json& json, std::uint64_t value) {
    json = value;
}

void Json_serializer::put(nlohmann::json& json, std::string const& value) {
    json = value;
}

void Json_serializer::put(nlohmann::json& json, ac::com::someip::serialization::String_map const& value) {
    json = value;
}

void Json_serializer::begin_list(nlohmann::json& json) {
    json = nlohmann::json::array();
}

nlohmann::json& Json_serializer::append(nlohmann::json& list) {
    return list.emplace_back();
}

nlohmann::json& Json_serializer::append_tagged(nlohmann::json& list,
                                               ac::com::someip::serialization::Structure_tag tag) {
    nlohmann::json& member = append(list);
    member["_1WireType"] = number(tag.wire_type);
    member["_2DataID"] = tag.data_id;
    return member["_3Value"];
}

}  // namespace ac::com::json::serialization
