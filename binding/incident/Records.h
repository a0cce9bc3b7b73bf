// The shapes that incidents have. A key's number makes its place in the line.
//
// Every unit with a skeleton sees this: what needs the whole of the JSON library stands in Records.cpp.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include <eb/com/runtime/Ids.h>

namespace eb::com::runtime {

void to_json(nlohmann::json& json, Service_id const& id);

void to_json(nlohmann::json& json, Instance_id const& id);

void to_json(nlohmann::json& json, Service_interface_description const& description);

}  // namespace eb::com::runtime

namespace ac::com::cpp_binding::log {

/// A service's instance: the head of nearly all incidents.
struct Instance_record {
    eb::com::runtime::Service_id service_id;
    eb::com::runtime::Instance_id instance_id;

    void keys(nlohmann::json& json) const;
};

struct Method_record : Instance_record {
    std::uint64_t method_id = 0;

    void keys(nlohmann::json& json) const;
};

/// A method where no call can be named.
struct Method_error_record : Method_record {
    std::uint64_t error_code = 0;

    void keys(nlohmann::json& json) const;
};

struct Call_record : Method_record {
    std::uint64_t method_call_id = 0;

    void keys(nlohmann::json& json) const;
};

struct Reply_record : Call_record {
    std::uint64_t error_code = 0;

    void keys(nlohmann::json& json) const;
};

/// A skeleton or proxy that was made: the interface's version, and how it runs or where it leads.
struct Construction_record : Instance_record {
    eb::com::runtime::Service_interface_description description{0};
    std::string text;

    void keys(nlohmann::json& json) const;
};

struct Event_record : Instance_record {
    std::uint64_t event_id = 0;

    void keys(nlohmann::json& json) const;
};

/// An event by itself.
struct Event_only_record {
    std::uint64_t event_id = 0;

    void keys(nlohmann::json& json) const;
};

/// A user's function that took too long; the key's number depends on the function.
template <char Place>
struct Time_record : Instance_record {
    std::uint64_t time = 0;

    void keys(nlohmann::json& json) const;
};

/// An instance that couldn't be made.
struct Unknown_instance_record {
    eb::com::runtime::Instance_id instance_id;

    void keys(nlohmann::json& json) const;
};

/// Puts an incident's name at the head of its object.
void name_incident(nlohmann::json& json, char const* name);

}  // namespace ac::com::cpp_binding::log
