// Every incident of the binding: its name, the shape of its record, and its level.
#pragma once

#include <ara/log/Logger.h>

#include "binding/incident/Records.h"

namespace ac::com::cpp_binding::log {

/// An incident's JSON: its name under "1_id", then the keys of its record.
template <class Incident>
requires requires(Incident const& incident, nlohmann::json& json) {
    Incident::NAME;
    incident.keys(json);
}
void to_json(nlohmann::json& json, Incident const& incident) {
    name_incident(json, Incident::NAME);
    incident.keys(json);
}

}  // namespace ac::com::cpp_binding::log

#define INCIDENT(Name, Shape, Level)                                           \
    struct Name : ac::com::cpp_binding::log::Shape {                           \
        static constexpr char const* NAME = #Name;                             \
        static constexpr ara::log::LogLevel LEVEL = ara::log::LogLevel::Level; \
    };

namespace ara::com::log::incidents {

INCIDENT(Service_instantiation_error, Unknown_instance_record, kError)

}  // namespace ara::com::log::incidents

namespace ac::com::cpp_binding::log::incidents {

// Services
INCIDENT(Method_call_request_err, Method_error_record, kError)
INCIDENT(Method_call_request_process, Call_record, kError)
INCIDENT(Method_call_request_exception, Method_record, kFatal)
INCIDENT(Method_call_response_tx, Reply_record, kDebug)
INCIDENT(Offer_service, Instance_record, kInfo)
INCIDENT(Stop_offer_service, Instance_record, kInfo)
INCIDENT(Service_skeleton_constructed, Construction_record, kInfo)
INCIDENT(Event_update_tx, Event_only_record, kDebug)
INCIDENT(Event_request_update_err, Event_record, kError)

// Clients
INCIDENT(Event_update_rx, Instance_record, kDebug)
INCIDENT(Event_update_when_not_subscribed, Instance_record, kDebug)
INCIDENT(Event_deserialize_exception, Instance_record, kError)
INCIDENT(Event_state_handler_exception, Instance_record, kError)
INCIDENT(Event_receive_handler_exception, Instance_record, kError)
INCIDENT(Event_receive_handler, Instance_record, kVerbose)
INCIDENT(Event_cache_update, Instance_record, kVerbose)
INCIDENT(Field_subscribe, Instance_record, kInfo)
INCIDENT(Field_unsubscribe, Instance_record, kInfo)
INCIDENT(Find_service_result, Instance_record, kInfo)
INCIDENT(Find_service_handler_exception, Instance_record, kError)
INCIDENT(Find_service_start, Instance_record, kInfo)
INCIDENT(Find_service_stop, Instance_record, kInfo)
INCIDENT(Event_receive_handler_performance, Time_record<'5'>, kWarn)
INCIDENT(Event_state_handler_performance, Time_record<'5'>, kWarn)
INCIDENT(Find_service_handler_performance, Time_record<'4'>, kWarn)
INCIDENT(Method_call_request_tx, Method_record, kDebug)
INCIDENT(Method_call_request_cancelled, Method_record, kInfo)
INCIDENT(Method_call_response_rx, Method_error_record, kDebug)
INCIDENT(Method_call_response_invalid_code, Method_error_record, kError)
INCIDENT(Method_call_deserializer_exception, Method_error_record, kError)
INCIDENT(Service_proxy_constructed, Construction_record, kInfo)

}  // namespace ac::com::cpp_binding::log::incidents

#undef INCIDENT
