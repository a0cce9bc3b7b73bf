#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/someip/Tp_segment.h"

namespace eb::com::runtime::someip {

/// Puts messages together from the segments that one datagram socket receives. Segments may come in any
/// order, and more than once; of two that overlap, the one that came last holds, and the return code is that
/// of the last one. Segments belong together if sender, message id, client, session, interface version and
/// type are the same. Under session 0 nothing tells one message from the next, so there they have to come in
/// order.
///
/// A message is dropped, which is counted and reported to `dropped` with the reason, when
/// - a segment reaches beyond the bound, has no bytes, or is not the last and no multiple of 16 long;
/// - segments disagree about where the message ends;
/// - nothing new came for it for SILENCE;
/// - too much is being put together, for its sender or in all, and it is the one that heard nothing new for
/// the
///   longest time. Nobody is locked out by somebody who begins messages and never ends them.
///
/// What is kept is bounded by what has arrived, whatever a segment claims. One thread.
class Tp_assembler {
public:
    using Bytes = std::vector<std::uint8_t>;

    static constexpr std::chrono::milliseconds SILENCE{2000};
    static constexpr std::size_t MESSAGES = 64;       ///< at a time
    static constexpr std::size_t PEER_MESSAGES = 16;  ///< of one sender
    // In multiples of the longest message:
    static constexpr std::size_t SHARE = 8;          ///< what all messages may keep
    static constexpr std::size_t PEER_SHARE = 2;     ///< those of one sender
    static constexpr std::size_t PIECE_BYTES = 128;  ///< what a piece between two gaps costs beside its bytes

    using Dropped = std::function<void(std::string const& text)>;

    explicit Tp_assembler(std::size_t maximumPayload, Dropped dropped = {})
        : m_maximumPayload(maximumPayload), m_dropped(std::move(dropped)) {}

    /// Takes a segment, and gives the whole message, as it would have come in one datagram, if that was its
    /// last missing piece.
    std::optional<Bytes> take(Tp_segment const& segment, Address const& from, std::chrono::milliseconds now);
    /// Drops what has heard nothing new for SILENCE; tells when that may be true of another one, if there is
    /// any.
    std::optional<std::chrono::milliseconds> dropSilent(std::chrono::milliseconds now);
    void clear() { m_messages.clear(); }

    std::size_t messages() const noexcept { return m_messages.size(); }
    /// What they cost: their bytes, and PIECE_BYTES for each piece.
    std::size_t bytes() const noexcept;

private:
    struct Key {
        Address from;
        std::uint16_t service;
        std::uint16_t method;
        std::uint16_t client;
        std::uint16_t session;
        std::uint8_t interfaceVersion;
        std::uint8_t type;
        auto operator<=>(Key const&) const = default;
    };
    struct Message {
        char const* contradiction(Tp_segment const& segment, bool inOrder) const;
        bool put(Tp_segment const& segment);
        bool isWhole() const noexcept { return total && have == *total; }
        std::size_t cost() const noexcept { return have + pieces.size() * PIECE_BYTES; }
        Bytes payload();

        std::map<std::size_t, Bytes> pieces;  // by offset, with gaps between them
        std::size_t have = 0;                 // their bytes
        std::optional<std::size_t> total;     // from the last segment
        std::chrono::milliseconds lastNews{0};
        Counted counted{counters().reassemblies};
    };
    using Messages = std::map<Key, Message>;

    char const* fault(Tp_segment const& segment) const;
    bool makeRoom(Key const& key, std::size_t more);
    void drop(Messages::iterator message, char const* why);
    void note(Address const& from, std::uint16_t service, std::uint16_t method, std::uint16_t session,
              char const* why) const;

    std::size_t const m_maximumPayload;
    Dropped const m_dropped;
    Messages m_messages;
};

}  // namespace eb::com::runtime::someip
