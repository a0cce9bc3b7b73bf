#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_message.h"
#include "platform/com/discovery/Sd_peers.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime {

/// One message on the TCP connection between a member and the speaker of its address (see Sd_voice.h). It is
/// a notification of service 0xFFFF, method 1. The discovery message that it is about follows it, if
/// `entries` has any: what shows discovery shows that one too. The payload has these items, each behind a
/// byte with its length, in hexadecimal digits:
///
///     relay=| kind | address | port | detail | flag | whether a discovery message follows |
///     known=| address | port | age in ms |                           for each of the list
struct Sd_relay {
    enum class Kind : std::uint8_t {
        join = 1,      ///< member: `address` is its identity
        welcome = 2,   ///< speaker: `address` is its identity, `list` the strangers that it has heard
        joined = 3,    ///< speaker: `address` is a fellow's identity; `flag`: it has just joined
        left = 4,      ///< speaker: `address` is the identity of a fellow that ended
        say = 5,       ///< member: `message` goes to whom `detail` (Sd_say::To) and `address` name
        heard = 6,     ///< speaker: `message` came from `address`; `detail` (Heard), `flag`: by multicast
        partners = 7,  ///< member: `list` is whose offers and subscriptions hold now
    };
    struct Known {
        Address address;
        std::uint32_t age = 0;
        bool operator==(Known const&) const = default;
    };
    static constexpr std::size_t LONGEST_LIST = 1024;

    Kind kind = Kind::join;
    Address address;
    std::uint8_t detail = 0;
    bool flag = false;
    std::vector<Known> list;
    std::vector<Sd_entry> entries;  ///< `say`, `heard`: no more than fit into one message
};

/// Appends it to what is going to be sent.
void append(std::vector<std::uint8_t>& bytes, Sd_relay const& relay);

/// Cuts the stream into messages. Holds no more than one of them. One thread.
class Sd_relay_reader {
public:
    void feed(std::uint8_t const* bytes, std::size_t size) { m_frames.feed(bytes, size); }
    /// The next message if it is complete. `fault` names what is wrong with the stream, which is of no more
    /// use.
    std::optional<Sd_relay> next(std::string& fault);

private:
    someip::Frame_reader m_frames{Sd_relay::LONGEST_LIST * 32};
    std::optional<Sd_relay> m_open;  // its discovery message is missing
};

/// Entries in portions, each of which fits into one message that no network has to cut into pieces.
std::vector<std::vector<Sd_entry>> inPortions(std::vector<Sd_entry> const& entries);

}  // namespace eb::com::runtime
