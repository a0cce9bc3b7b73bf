#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_message.h"
#include "platform/com/discovery/Sd_peers.h"

namespace eb::com::runtime {

/// Entries that a process has to say, and to whom.
struct Sd_say {
    enum class To : std::uint8_t {
        everybody,  ///< fellows, and all that the manifest names or that were heard
        peers,      ///< fellows, and strangers that were heard; where there is a group, all
        stranger,   ///< `peer`, by the network
        fellow,     ///< `peer`, another process of the own address
    };
    To to = To::everybody;
    Address peer;
    std::vector<Sd_entry> entries;
};

/// How one process takes part in discovery: as the speaker of its address, or as a member that the speaker
/// speaks for. All processes of one address, the fellows, have one UDP port, one session counter and one
/// reboot flag between them, as one stack of service discovery has. Towards each other they have identities
/// of their own, which they keep as long as they live.
///
/// io thread.
class Sd_voice {
public:
    /// The process.
    class User {
    public:
        virtual ~User() = default;
        virtual void heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
                           bool byMulticast) = 0;
        /// Another process of this address is there; `justNow`: it knows nothing yet.
        virtual void joined(Address const& fellow, bool justNow) = 0;
        /// It has said all that it offers and asks for. Heard by the speaker only.
        virtual void ready(Address const& /*fellow*/) {}
        virtual void left(Address const& fellow) = 0;
        /// Whose offers and subscriptions hold now.
        virtual std::set<Address> partners() const = 0;
    };
    /// Messages to and from strangers and fellows.
    struct Counts {
        std::uint64_t sent = 0;
        std::uint64_t received = 0;
        std::uint64_t malformed = 0;  ///< messages, and entries whose options can't be used
    };

    virtual ~Sd_voice() = default;
    virtual bool isSpeaker() const = 0;
    /// Whether what is said reaches anybody. A member has to be welcomed first.
    virtual bool isReady() const = 0;
    /// Also without words: what else has changed is passed on.
    virtual void say(std::vector<Sd_say> const& words) = 0;
    /// All fellows that can be expected have said what they have.
    virtual void allReady() {}
    /// The strangers that were heard.
    virtual std::vector<Sd_peers::Known> strangers() const = 0;
    /// Frees the sockets, after what was said has left.
    virtual void close() = 0;
};

}  // namespace eb::com::runtime
