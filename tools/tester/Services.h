// The way to the services.
#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include <eb/com/runtime/Client_port.h>

#include "tools/tester/Exchange.h"

namespace tester {

/// The instance that all data identifier services are offered as.
inline constexpr char INSTANCE[] = "1";

/// A service's port, or the reason why there is none.
struct Reached {
    std::shared_ptr<eb::com::runtime::Client_port> port;
    std::string problem;
};

/// Reaches services by their full names. Owned by the session and used by its thread; what it reached stays
/// usable as long as it lives, and open calls end with it.
class Services {
public:
    virtual ~Services() = default;

    /// Waits for an instance of the service to be found, at most `limit`.
    virtual Reached reach(std::string const& service, std::uint32_t version, milliseconds limit,
                          std::stop_token const& stop) = 0;
};

/// Services over the communication runtime, which starts with this object and ends with it. Throws
/// ac::com::Invalid_argument_exception if the deployment manifest can't be used.
std::unique_ptr<Services> runtimeServices();

}  // namespace tester
