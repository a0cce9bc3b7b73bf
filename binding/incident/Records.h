// The shapes that incidents have. A key's number makes its place in the line.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include <eb/com/runtime/Ids.h>

namespace eb::com::runtime {

inline void to_json(nlohmann::json& json, Service_id const& id) {
    json = {{"1_id", "Service_id"}, {"string", id.value}};
}

inline void to_json(nlohmann::json& json, Instance_id const& id) {
    json = {{"1_id", "Instance_id"}, {"2_string", id.value}};
}

inline void to_json(nlohmann::json& json, Service_interface_description const& description) {
    json = {{"1_major", description.major()}, {"2_minor", description.minor()}};
}

}  // namespace eb::com::runtime

namespace ac::com::cpp_binding::log {

/// A service's instance: the head of nearly all incidents.
struct Instance_record {
    eb::com::runtime::Service_id service_id;
    eb::com::runtime::Instance_id instance_id;

    void keys(nlohmann::json& json) const {
        json["2_service_id"] = service_id;
        json["3_instance_id"] = instance_id;
    }
};

struct Method_record : Instance_record {
    std::uint64_t method_id = 0;

    void keys(nlohmann::json& json) const {
        Instance_record::keys(json);
        json["4_method_id"] = method_id;
    }
};

/// A method where no call can be named.
struct Method_error_record : Method_record {
    std::uint64_t error_code = 0;

    void keys(nlohmann::json& json) const {
        Method_record::keys(json);
        json["5_error_code"] = error_code;
    }
};

struct Call_record : Method_record {
    std::uint64_t method_call_id = 0;

    void keys(nlohmann::json& json) const {
        Method_record::keys(json);
        json["5_method_call_id"] = method_call_id;
    }
};

struct Reply_record : Call_record {
    std::uint64_t error_code = 0;

    void keys(nlohmann::json& json) const {
        Call_record::keys(json);
        json["6_error_code"] = error_code;
    }
};

/// A skeleton or proxy that was made: the interface's version, and how it runs or where it leads.
struct Construction_record : Instance_record {
    eb::com::runtime::Service_interface_description description{0};
    std::string text;

    void keys(nlohmann::json& json) const {
        Instance_record::keys(json);
        json["4_struct4bytes"] = description;
        json["5_utf8simple"] = text;
    }
};

struct Event_record : Instance_record {
    std::uint64_t event_id = 0;

    void keys(nlohmann::json& json) const {
        Instance_record::keys(json);
        json["4_event_id"] = event_id;
    }
};

/// An event by itself.
struct Event_only_record {
    std::uint64_t event_id = 0;

    void keys(nlohmann::json& json) const { json["2_Event_id"] = event_id; }
};

/// A user's function that took too long; the key's number depends on the function.
template <char Place>
struct Time_record : Instance_record {
    std::uint64_t time = 0;

    void keys(nlohmann::json& json) const {
        Instance_record::keys(json);
        json[std::string{Place} + "_time"] = time;
    }
};

/// An instance that couldn't be made.
struct Unknown_instance_record {
    eb::com::runtime::Instance_id instance_id;

    void keys(nlohmann::json& json) const { json["2_instance_id"] = instance_id; }
};

}  // namespace ac::com::cpp_binding::log
