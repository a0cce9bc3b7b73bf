#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_message.h"

namespace eb::com::runtime {

/// The processes that discovery speaks with: session ids given to each, and those heard from each, by which a
/// process that started again gives itself away.
///
/// Session ids count from 1 for each receiver and, at the sender, for the multicast group apart; after 0xFFFF
/// comes 1 again, and the reboot flag is no longer set. Once a receiver had to be forgotten, new ones begin
/// where it stood: it may come back, and shall not take us for rebooted. A peer has rebooted when, between
/// two messages that came the same way,
///
/// - its flag was not set and is set now, or
/// - it was and is set, and the session id isn't greater than the one before.
///
/// Only a copy of the last message is neither: the same bytes again, within REORDERING. What overtook another
/// message on its way can't be distinguished from a reboot, and is taken for one.
///
/// A reboot shows in both counts, and is one: once it was noticed in the messages that come to this process
/// alone, those of the group may begin anew without another one, and the other way round.
///
/// Bounded: in a full table somebody new takes the place of the stranger who was silent for the longest time,
/// so that a flood of strangers shuts nobody out. A peer is no stranger while something that it offered or
/// subscribed holds. So that those don't shut anybody out either, STRANGERS places aren't theirs: while fewer
/// strangers are there, whoever was silent for the longest time makes room. One thread.
class Sd_peers {
public:
    using Time = std::chrono::milliseconds;
    static constexpr std::size_t PEERS = 256;
    static constexpr std::ptrdiff_t STRANGERS = PEERS / 2;
    /// After this long a silent peer isn't told of offers any more if it is nobody that everything is sent to
    /// anyway.
    static constexpr std::chrono::seconds MEMORY{60};

    /// Those who are no strangers; asked when the table is full.
    using Partners = std::function<std::set<Address>()>;
    explicit Sd_peers(Partners partners) : m_partners(std::move(partners)) {}

    /// The session ids of that target are never forgotten.
    void keep(Address const& target) { m_kept.try_emplace(target); }

    /// By how much the copies of a datagram may come apart: as long as a switch needs at 100 Mbit/s to empty
    /// a port's buffer of 256 KiB. No process ends, starts again and speaks within that time.
    static constexpr Time REORDERING{20};

    enum class Heard : std::uint8_t { known, first, rebooted, copy };
    Heard hear(Address const& peer, bool multicast, Sd_message const& message, std::size_t hash, Time now);

    struct Stamp {
        std::uint16_t session = 0;
        bool reboot = false;
    };
    /// For the next message to a peer or group.
    Stamp next(Address const& target);

    /// Those heard within MEMORY.
    std::vector<Address> heard(Time now) const;

    struct Known {
        Address address;
        Time heard;
        unsigned reboots;
    };
    std::vector<Known> known() const;

private:
    /// What came one way, by unicast or by multicast.
    struct Sessions {
        bool reboot = false;
        std::uint16_t last = 0;  // 0: none
        std::size_t hash = 0;    // of the last message
        Time at{0};              // of the last message
        /// When the other way showed a reboot that this one doesn't show yet.
        std::optional<Time> elsewhere;

        Heard hear(Sd_message const& message, std::size_t messageHash, Time now);
    };
    struct Peer {
        Time heard{0};
        std::uint64_t turn = 0;  // when it was heard, without ties
        std::uint32_t sent = 0;  // messages
        unsigned reboots = 0;
        Sessions unicast;
        Sessions multicast;
    };
    void makeRoom();

    Partners const m_partners;
    std::map<Address, Peer> m_peers;
    std::uint64_t m_turns = 0;
    std::map<Address, std::uint32_t> m_kept;  // messages that were sent
    std::uint32_t m_others = 0;               // messages: the most that somebody got who isn't known any more
};

}  // namespace eb::com::runtime
