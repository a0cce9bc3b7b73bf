#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
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
/// where it stood: it may come back, and shall not take us for rebooted. A peer has rebooted when
///
/// - its flag was not set and is set now, or
/// - it was and is set, and the session id isn't greater than the one before.
///
/// Datagrams may be doubled and may overtake each other without a reboot: an id of the last eight whose
/// message is the same as before is a copy, and one that didn't come yet is out of date.
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

    enum class Heard : std::uint8_t { known, first, rebooted, outdated };
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
    static constexpr std::uint16_t WINDOW = 8;
    struct Sessions {
        bool reboot = false;
        std::uint16_t last = 0;  // 0: none
        struct Message {
            std::uint16_t session = 0;
            std::size_t hash = 0;
        };
        std::array<Message, WINDOW> recent;

        Heard hear(Sd_message const& message, std::size_t hash);
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
