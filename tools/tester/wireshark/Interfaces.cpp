#include "tools/tester/wireshark/Interfaces.h"

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/generated/DiagnosticMonitor.h"
#include "binding/generated/all.h"
#include "tools/tester/Codes.h"
#include "tools/tester/Targets.h"
#include "tools/tester/data_service/Control.h"

namespace tester::wireshark {

namespace {

namespace diag = zvg::services::diag;
namespace distribution = zvg::services::diagnosticdatadistribution;
using Names = std::vector<std::string>;

}  // namespace

template <>
inline constexpr std::array MEMBER_NAMES<distribution::datatypes::DT_dataValuesHash_struct>{
    "name_space", "category", "hash_value"};
template <>
inline constexpr std::array MEMBER_NAMES<distribution::datatypes::DT_DiagnosticValuesResultType>{
    "data", "result_code"};

template <>
inline constexpr char const* VALUE_NAMES<ac::dm::types::UDSResponseCodeType> = "uds";
template <>
inline constexpr char const* VALUE_NAMES<ac::dm::types::MonitorActionType> = "monitor_state";
template <>
inline constexpr char const* VALUE_NAMES<ac::dm::types::InitMonitorReasonType> = "init_reason";
template <>
inline constexpr char const* VALUE_NAMES<distribution::datatypes::DT_ResultCodeType> = "result_code";

namespace {

/// How a method or event lays out its payloads.
template <class Operation>
constexpr Serialization_properties propertiesOf() {
    if constexpr (requires { Operation::PROPERTIES; }) {
        return Operation::PROPERTIES;
    } else {
        return {};
    }
}

template <class Result, class... Argument>
Json argumentShapes(Result (*)(Argument...), Names const& names, Serialization_properties const& properties) {
    Json all = Json::array();
    (all.push_back(shape<std::remove_cvref_t<Argument>>(nameOf(names, all.size(), "argument"), properties)),
     ...);
    return all;
}

template <class Interface>
void raises(diag::Failing_method<diag::Uds_service_failed<Interface>> const*, Json& errors) {
    Json code = shape<ac::dm::types::UDSResponseCodeType>("uds_code", {});
    code["shared"] = true;
    errors.push_back({{"code", diag::Uds_error::ERROR}, {"fields", Json::array({code})}});
}
void raises(diag::Unfailing_method const*, Json&) {}

/// A method with its arguments and a result that is no structure by their names.
template <class Method>
Json method(Names const& arguments = {}, std::string const& result = {}) {
    constexpr Serialization_properties properties = propertiesOf<Method>();
    Json json{
        {"request", argumentShapes(static_cast<typename Method::Signature*>(nullptr), arguments, properties)},
        {"reply", Json::array()},
        {"errors", Json::array()}};
    using Output = typename Method::Output;
    if constexpr (ac::com::someip::serialization::Structure<Output>) {
        json["reply"] = memberShapes<Output>(properties);
    } else if constexpr (!std::is_void_v<Output>) {
        json["reply"].push_back(shape<Output>(result, properties));
    }
    raises(static_cast<Method const*>(nullptr), json["errors"]);
    return json;
}

template <class Event>
Json event(std::string const& name) {
    return {{"event", Json::array({shape<typename Event::Value>(name, propertiesOf<Event>())})}};
}

/// The namespace that an interface stands in: "d_b047".
std::string ownNamespace(std::string_view name) {
    std::string_view const outer = name.substr(0, name.rfind("::"));
    return std::string(diag::last_name(outer));
}

/// What every request tells about itself is the same everywhere.
Json withSharedMeta(Json method) {
    for (Json& argument : method["request"]) {
        argument["name"] = "meta";
        argument["shared"] = true;
    }
    return method;
}

template <class Each>
Interface dataIdentifier() {
    std::vector<Json> methods(2);
    methods[METHOD_CANCEL] = withSharedMeta(method<typename Each::CancelMethod>());
    methods[METHOD_READ] = withSharedMeta(method<typename Each::ReadMethod>());
    return {std::string(Each::NAME), ownNamespace(Each::NAME), methods, {}};
}

template <class Each>
Interface routine() {
    std::vector<Json> methods(4);
    methods[METHOD_CANCEL] = withSharedMeta(method<typename Each::CancelMethod>());
    methods[METHOD_REQUEST_RESULTS] = withSharedMeta(method<typename Each::RequestResultsMethod>());
    methods[METHOD_START] = withSharedMeta(method<typename Each::StartMethod>());
    methods[METHOD_STOP] = withSharedMeta(method<typename Each::StopMethod>());
    methods[METHOD_REQUEST_RESULTS]["reply"][0]["halves"] = {"status",
                                                             "result"};  // upper and lower four bits
    return {std::string(Each::NAME), ownNamespace(Each::NAME), methods, {}};
}

Interface monitor() {
    using namespace ac::dm::dem;
    std::vector<Json> methods(1);
    methods[METHOD_INIT_MONITOR] = method<InitMonitor>({"reason"});
    return {std::string(DiagnosticMonitor::NAME), "monitor", methods, {event<MonitorAction>("state")}};
}

Interface dataService() {
    using Service = distribution::DiagnosticDataDistribution;
    std::vector<Json> methods(3);
    methods[Service::dataValuesHash::Get::ID] = method<Service::dataValuesHash::Get>({}, "hash");
    methods[Service::getDiagnosticData::ID] = method<Service::getDiagnosticData>({"name_space", "record"});
    methods[Service::getDiagnosticDataValues::ID] =
        method<Service::getDiagnosticDataValues>({"name_space", "record"});
    return {std::string(Service::NAME),
            "data_service",
            methods,
            {event<Service::dataValuesHash::Notify>("hash")}};
}

/// The control takes and gives bare text, without a length field.
Interface control() {
    auto const text = [](char const* name) {
        return Json::array({{{"name", name}, {"length_field", 0}, {"kind", "text"}}});
    };
    std::vector<Json> methods(1);
    methods[CONTROL_COMMAND] = {{"request", text("command")},
                                {"reply", text("done")},
                                {"errors", {{{"code", CONTROL_REFUSED}, {"fields", text("refusal")}}}}};
    return {CONTROL_INTERFACE, "data_service_control", methods, {}};
}

}  // namespace

std::vector<Interface> interfaces() {
    std::vector<Interface> all;
    diag::Data_identifiers::forEach([&]<class Each>() { all.push_back(dataIdentifier<Each>()); });
    diag::Routines::forEach([&]<class Each>() { all.push_back(routine<Each>()); });
    all.push_back(monitor());
    all.push_back(dataService());
    all.push_back(control());
    return all;
}

Json valueNames() {
    using namespace ac::dm::types;
    using distribution::datatypes::DT_ResultCodeType;
    Json states = Json::array();
    for (auto const state : {MonitorActionType::kPassed, MonitorActionType::kFailed}) {
        auto const byte = static_cast<unsigned char>(state);
        states.push_back({byte, monitorStateName(byte)});
    }
    Json reasons = Json::array();
    for (auto const& [word, reason] : initReasons()) reasons.push_back({reason, word});
    Json codes = Json::array();
    for (auto const& [code, name] : negativeResponses()) codes.push_back({code, name});
    return {{"monitor_state", states},
            {"init_reason", reasons},
            {"result_code", {{static_cast<unsigned>(DT_ResultCodeType::success), "success"}}},
            {"uds", codes}};
}

}  // namespace tester::wireshark
