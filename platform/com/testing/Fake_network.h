#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/someip/Network.h"
#include "platform/com/testing/Fake_clock.h"

namespace eb::com::runtime::testing {

/// What the network does to what it carries. Probabilities are from 0 to 1.
struct Faults {
    double drop = 0;                         ///< of a datagram
    double duplicate = 0;                    ///< of a datagram
    double reorder = 0;                      ///< of a datagram: held back so that those behind it overtake it
    std::chrono::milliseconds delayFrom{0};  ///< each datagram and each message of a stream takes from ...
    std::chrono::milliseconds delayTo{0};    ///< ... to this; streams keep their order
    std::size_t pieceBytes = 0;              ///< what a stream gives its reader at a time; 0: all it has
};

/// What became of datagrams.
struct Traffic {
    std::uint64_t sent = 0;
    std::uint64_t delivered = 0;  ///< copies included
    std::uint64_t lost = 0;       ///< dropped or cut off by a partition
    std::uint64_t unheard = 0;    ///< nobody was at the address
};

/// The network between runtimes of one process: TCP streams and UDP datagrams from loop to loop, with faults
/// on the test's command. An address and port that is taken is refused as the operating system does,
/// connecting to nobody gives connection_refused, and a datagram to nobody vanishes.
///
/// A stream holds WINDOW bytes that its reader hasn't taken; what the sender has above it waits at his end,
/// as in a socket's send queue. It loses nothing: a partition holds its bytes back until it is healed.
///
/// Owned by the test; hosts and links share its state, so that a runtime may outlive it. Any thread. The user
/// of a link hears on the loop of its host. One seed decides on all faults; each host throws dice of its own,
/// so that hosts don't change each other's luck.
class Fake_network {
public:
    static constexpr std::size_t WINDOW = 65'536;

    Fake_network(Fake_clock& clock, std::uint64_t seed);

    /// The network as a runtime sees it, whose links come from `ip` where they aren't bound to another one.
    std::unique_ptr<someip::Network> host(std::uint32_t ip, std::shared_ptr<Loop> loop,
                                          std::size_t sendQueueBytes = Limits{}.sendQueueBytes);

    void set(Faults const& faults);
    /// Nothing passes between two addresses any more.
    void partition(std::uint32_t one, std::uint32_t other);
    /// All partitions are over; streams go on where they stood, those that have something under way or are
    /// connecting after a pause, as TCP has one that grows.
    void heal(std::chrono::milliseconds pause = {});
    /// Breaks all streams, as a reset does: connection_reset at both ends.
    void disconnect();
    /// Breaks the streams between two addresses.
    void disconnect(std::uint32_t one, std::uint32_t other);
    /// The streams' readers at an address read no more, or go on.
    void stall(std::uint32_t reader, bool stalled = true);

    Traffic traffic() const;
    /// Ports that are bound or listened to.
    std::size_t openPorts() const;
    /// Streams with at least one open end.
    std::size_t streams() const;

    struct Core;

private:
    std::shared_ptr<Core> m_core;
};

/// The seed of this run: the environment variable FAKE_NETWORK_SEED, or one by chance. The first call of a
/// test prints it and keeps it in the test's report.
std::uint64_t seedOfThisTest();

}  // namespace eb::com::runtime::testing
