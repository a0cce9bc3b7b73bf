// The way to the services.
#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include <eb/com/runtime/Client_port.h>

#include "tools/tester/Exchange.h"

namespace tester {

/// The instance that the services of data identifiers and routines are offered as.
inline constexpr char INSTANCE[] = "1";

/// One instance of a service.
struct Wanted {
    std::string service;
    std::uint32_t version;
    std::string instance;
};

/// A service's port, or the reason why there is none.
struct Reached {
    std::shared_ptr<eb::com::runtime::Client_port> port;
    std::string problem;
};

/// Reaches services by their full names. Owned by the session and used by its thread; what it reached stays
/// usable, on any thread, as long as it lives, and open calls end with it.
class Services {
public:
    virtual ~Services() = default;

    /// The port of an instance, whether it is to be had or not: for subscriptions, which wait for it.
    virtual Reached port(Wanted const& wanted) = 0;

    /// Waits for the instance to be found, at most `limit`. With nothing left to wait it still hears what is
    /// known.
    virtual Reached reach(Wanted const& wanted, milliseconds limit, std::stop_token const& stop) = 0;

    /// Who else offers the instance beside the one that is used, each with its endpoint.
    virtual std::vector<std::string> rivals(Wanted const& /*wanted*/) { return {}; }

    Reached reach(std::string const& service, std::uint32_t version, milliseconds limit,
                  std::stop_token const& stop) {
        return reach({service, version, INSTANCE}, limit, stop);
    }
};

/// Services over the communication runtime, which starts with this object and ends with it. Throws
/// ac::com::Invalid_argument_exception if the deployment manifest can't be used.
std::unique_ptr<Services> runtimeServices();

}  // namespace tester
