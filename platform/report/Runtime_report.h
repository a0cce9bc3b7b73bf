// What the runtime of this process knows of itself and of others: for the doctor and for watching.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <ara/log/Logger.h>
#include <eb/com/runtime/Ids.h>
#include <eb/com/runtime/Service_finder.h>

namespace eb::com::runtime {

/// One instance of the deployment, and what is known of it now.
struct Instance_report {
    Service_id service;
    Instance_id instance;
    std::uint16_t service_id = 0;
    std::uint16_t instance_id = 0;
    std::string deployed;    ///< endpoint that the manifest names: "tcp 127.0.0.1:30509"
    bool offered = false;    ///< by this process
    bool found = false;      ///< here or elsewhere
    std::string endpoint;    ///< where it was found; "local" in this process, empty if it wasn't
    std::string offered_by;  ///< identity of the process or stranger that offers it; empty without discovery
    std::vector<std::string> also_offered_by;  ///< identities and endpoints of others, which aren't used
    std::chrono::milliseconds ttl_left{0};     ///< of its offer; 0 without discovery or if it never ends
    struct Event {
        std::string name;
        std::uint16_t id = 0;
        std::uint16_t eventgroup = 0;
        unsigned subscribers = 0;  ///< to this process's offer
        std::string subscription;  ///< of this process: "", "pending", "subscribed", "refused"
    };
    std::vector<Event> events;
};

/// A process that takes part in discovery.
struct Peer_report {
    std::string address;                      ///< identity of a process at the own address, or SD socket
    std::chrono::milliseconds last_heard{0};  ///< ago
    unsigned reboots = 0;                     ///< noticed
    unsigned offers = 0;                      ///< standing
};

struct Runtime_report {
    std::string manifest;     ///< file, or "built-in manifest"
    std::string discovery;    ///< "unicast", "multicast", "static"
    std::string sd_address;   ///< SD socket of all processes at the own address; empty without discovery
    std::string sd_identity;  ///< by which they know this process: "127.0.0.1:30491"
    std::string sd_role;      ///< "speaker" (has the SD socket), "member" (uses its), "joining" (isn't heard)
    std::vector<std::string> sd_targets;  ///< where offers and finds are sent to, as "127.0.0.1:30490-30505"
    std::uint64_t sd_sent = 0, sd_received = 0, sd_malformed = 0;  ///< messages
    std::uint64_t sd_ignored = 0;  ///< offers and subscriptions of services that the manifest doesn't know
    std::vector<Peer_report> peers;
    std::vector<Instance_report> instances;  ///< in the manifest's order
};

/// Something that discovery noticed, for a line in a log of comings and goings.
struct Runtime_notice {
    enum class Kind : std::uint8_t {
        offered,       ///< an instance is to be had
        lost,          ///< its offer was withdrawn, ran out, or its process started again
        rebooted,      ///< a peer started again
        subscribed,    ///< somebody subscribed to an eventgroup of this process
        unsubscribed,  ///< ... and left, or his subscription ran out
        acknowledged,  ///< a subscription of this process was accepted
        refused,       ///< ... or wasn't
    };
    Kind kind = Kind::offered;
    Service_id service;    ///< empty for `rebooted`
    Instance_id instance;  ///< empty for `rebooted`
    std::string where;     ///< endpoint, peer or subscriber
    std::string reason;    ///< "offer", "withdrawn", "ran out", "rebooted", "gone", "no such eventgroup"
};

/// Any thread; throws Infrastructure_exception if there is no runtime in this process.
ARA_API Runtime_report report();

/// Calls `notice` for everything that happens from now on, one call at a time on a runtime thread, until the
/// handle's last owner lets go of it. Any thread.
ARA_API std::shared_ptr<Service_finder::Subscription_handle> watch(
    std::function<void(Runtime_notice const&)> notice);

}  // namespace eb::com::runtime
