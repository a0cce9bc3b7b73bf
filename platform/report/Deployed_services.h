// What the deployment manifest says of the wire, for tools that name what others see there.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ara/log/Logger.h>
#include <eb/com/runtime/Ids.h>

namespace eb::com::runtime {

/// One instance of a service by its numbers in SOME/IP messages.
struct Deployed_service {
    struct Method {
        std::string name;
        std::uint16_t id = 0;
    };
    struct Event {
        std::string name;
        std::uint16_t id = 0;
        std::uint16_t eventgroup = 0;
    };

    Service_id service;
    Instance_id instance;
    std::uint16_t service_id = 0;
    std::uint16_t instance_id = 0;
    std::string transport;  ///< "tcp" or "udp"
    std::uint16_t port = 0;
    std::vector<Method> methods;  ///< at the index that skeletons and proxies count them by
    std::vector<Event> events;    ///< as the methods
};

struct Deployed_services {
    std::string manifest;                  ///< file, or "built-in manifest"
    std::vector<std::uint16_t> discovery;  ///< its UDP ports; the first is TCP as well; none if it is static
    std::vector<Deployed_service> services;  ///< in the manifest's order
};

/// Reads the manifest that a runtime of this process would take; starts nothing. Any thread. Throws
/// ac::com::Invalid_argument_exception for a manifest that can't be used.
ARA_API Deployed_services deployed_services();

}  // namespace eb::com::runtime
