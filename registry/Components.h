#pragma once

#include <vector>

namespace zvg::val {

namespace diag_ara::services {
class Runnable;
}

/// The components of a service as its bridge sees them: brought up and torn down together, and found by the
/// message id that they receive. Owned by the Service, which calls every operation under its state lock.
class Components {
public:
    virtual ~Components() = default;

    /// Makes and starts all components. The bridge's send lock is held meanwhile, so a component must neither
    /// send on this thread nor wait for a thread that sends.
    virtual int init() = 0;

    /// Stops and destroys all components. `init` may follow and makes new ones.
    virtual void destroy() = 0;

    /// The first receiver of an id, cut to 16 bits, or null.
    virtual diag_ara::services::Runnable* get(int msgId) = 0;

    /// All receivers of an id, in the order in which they get the message. None for an id beyond 16 bits.
    virtual std::vector<diag_ara::services::Runnable*> getReceivers(int msgId) = 0;
};

}  // namespace zvg::val
