#pragma once

#include <memory>
#include <optional>

#include "registry/Runnable.h"
#include "servers/did/test/Identifiers.h"

namespace did_test {

/// What became of one Read, as the binding would see it.
struct Outcome {
    bool done = false;
    bool broken = false;      ///< its promise was destroyed
    std::optional<int> code;  ///< the bare response code that it ended with
    Bytes data;               ///< the bytes of the Output's fields, one after another
};

/// A second skeleton on a live server, never offered: calls Read and Cancel as the binding does and keeps
/// what the futures give, also where the binding would send no reply.
class Probe {
public:
    virtual ~Probe() = default;
    virtual std::shared_ptr<Outcome> read() = 0;
    /// Whether the future of Cancel was complete at once.
    virtual bool cancel() = 0;
    /// A second completion of the promise of the Read in progress, as by a Cancel that comes at the same
    /// time.
    virtual void completeEarly() = 0;
};

/// `server` is the component that serves that number; without one the skeleton has no server.
std::unique_ptr<Probe> makeProbe(std::uint16_t number, zvg::val::diag_ara::services::Runnable* server);

/// A new server of that number, which nobody has initialised.
std::unique_ptr<zvg::val::diag_ara::services::Runnable> makeServer(std::uint16_t number);

}  // namespace did_test
