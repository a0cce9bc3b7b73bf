#pragma once

#include <array>
#include <chrono>
#include <map>
#include <set>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_message.h"

namespace eb::com::runtime {

/// The processes that discovery speaks with: session ids given to each, and those heard from each, by which a
/// process that started again gives itself away.
///
/// Session ids count from 1 for each receiver and, at the sender, for the multicast group apart; after 0xFFFF
/// comes 1 again, and the reboot flag is no longer set. A peer has rebooted when
///
/// - its flag was not set and is set now, or
/// - it was and is set, and the session id isn't greater than the one before.
///
/// Datagrams may be doubled and may overtake each other without a reboot: an id of the last eight whose
/// message is the same as before is a copy, and one that didn't come yet is out of date.
///
/// Bounded: while PEERS are known and none of them can be forgotten, others aren't listened to. One thread.
class Sd_peers {
public:
    using Time = std::chrono::milliseconds;
    static constexpr std::size_t PEERS = 256;
    /// After this long a silent peer makes room for another one, and isn't told of offers any more if it is
    /// nobody that everything is sent to anyway.
    static constexpr std::chrono::seconds MEMORY{60};

    /// The session ids of that target are never forgotten.
    void keep(Address const& target) { m_kept.insert(target); }

    enum class Heard : std::uint8_t { known, first, rebooted, outdated, tooMany };
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
        unsigned reboots = 0;
        Sessions unicast;
        Sessions multicast;
    };
    bool makeRoom(Time now);

    std::map<Address, Peer> m_peers;
    std::map<Address, std::uint32_t> m_sent;  // messages, per target
    std::set<Address> m_kept;
};

}  // namespace eb::com::runtime
