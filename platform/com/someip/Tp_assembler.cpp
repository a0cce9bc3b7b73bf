#include "platform/com/someip/Tp_assembler.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

namespace eb::com::runtime::someip {
namespace {

std::size_t endOf(Tp_segment const& segment) {
    return segment.offset + segment.size;
}

std::size_t endOf(std::pair<std::size_t const, Tp_assembler::Bytes> const& piece) {
    return piece.first + piece.second.size();
}

}  // namespace

void Tp_assembler::note(Address const& from, std::uint16_t service, std::uint16_t method,
                        std::uint16_t session, char const* why) const {
    ++counters().lostSegmented;
    if (m_dropped)
        m_dropped(from.text() + ": a segmented message is dropped (service " + std::to_string(service) +
                  ", method " + std::to_string(method) + ", session " + std::to_string(session) +
                  "): " + why);
}

char const* Tp_assembler::fault(Tp_segment const& segment) const {
    if (segment.size == 0) return "a segment is empty";
    if (endOf(segment) > m_maximumPayload) return "a segment reaches beyond limits.message_bytes";
    if (segment.more && segment.size % TP_UNIT_BYTES != 0)
        return "a segment that isn't the last has a size that is no multiple of 16";
    return nullptr;
}

char const* Tp_assembler::Message::contradiction(Tp_segment const& segment, bool inOrder) const {
    if (inOrder && segment.offset != have) return "segments under session 0 are not in order";
    if (total && (segment.more ? endOf(segment) >= *total : endOf(segment) != *total))
        return "a segment doesn't fit the end of the message";
    // So far only segments came that others have to come behind.
    if (!total && !segment.more && !pieces.empty() && endOf(segment) <= endOf(*pieces.rbegin()))
        return "the last segment doesn't end behind all others";
    return nullptr;
}

/// Whether any of it is new.
bool Tp_assembler::Message::put(Tp_segment const& segment) {
    if (!segment.more) total = endOf(segment);
    std::size_t const before = have;
    for (std::size_t at = segment.offset; at < endOf(segment);) {
        std::uint8_t const* const bytes = segment.bytes + (at - segment.offset);
        std::size_t size = endOf(segment) - at;
        auto const next = pieces.upper_bound(at);
        auto piece = next == pieces.begin() ? pieces.end() : std::prev(next);
        if (piece != pieces.end() && at < endOf(*piece)) {
            size = std::min(size, endOf(*piece) - at);
            std::copy_n(bytes, size, piece->second.begin() + static_cast<std::ptrdiff_t>(at - piece->first));
        } else {
            if (next != pieces.end()) size = std::min(size, next->first - at);
            if (piece == pieces.end() || endOf(*piece) != at) piece = pieces.emplace(at, Bytes()).first;
            piece->second.insert(piece->second.end(), bytes, bytes + size);
            have += size;
        }
        at += size;
    }
    return have != before;
}

Tp_assembler::Bytes Tp_assembler::Message::payload() {
    if (pieces.size() == 1) return std::move(pieces.begin()->second);
    Bytes payload;
    payload.reserve(have);
    for (auto const& [offset, piece] : pieces) payload.insert(payload.end(), piece.begin(), piece.end());
    return payload;
}

std::optional<Tp_assembler::Bytes> Tp_assembler::take(Tp_segment const& segment, Address const& from,
                                                      std::chrono::milliseconds now) {
    Header const& header = segment.header;
    Key const key{from,           header.service,          header.method, header.client,
                  header.session, header.interfaceVersion, header.type};
    auto found = m_messages.find(key);
    bool const inOrder = header.session == 0;
    if (inOrder && segment.offset == 0 && found != m_messages.end()) {
        drop(found, "another one begins");
        found = m_messages.end();
    }
    char const* wrong = fault(segment);
    if (wrong == nullptr && found == m_messages.end()) {
        found = m_messages.try_emplace(key).first;
        found->second.lastNews = now;
    }
    if (wrong == nullptr) wrong = found->second.contradiction(segment, inOrder);
    if (wrong == nullptr && !makeRoom(key, segment.size + PIECE_BYTES))
        wrong = "its sender may not keep so many pieces";
    if (wrong != nullptr) {
        if (found != m_messages.end())
            drop(found, wrong);
        else
            note(from, header.service, header.method, header.session, wrong);
        return {};
    }
    Message& message = found->second;
    if (message.put(segment)) message.lastNews = now;
    if (!message.isWhole()) return {};
    Bytes whole = encode(header, message.payload());
    m_messages.erase(found);
    return whole;
}

bool Tp_assembler::makeRoom(Key const& key, std::size_t more) {
    for (;;) {
        std::size_t messages = 0;
        std::size_t bytes = more;
        auto stalest = m_messages.end();
        auto stalestOfPeer = m_messages.end();
        auto const older = [&](auto const& message, auto const& than) {
            return than == m_messages.end() || message->second.lastNews < than->second.lastNews;
        };
        for (auto message = m_messages.begin(); message != m_messages.end(); ++message) {
            bool const ofPeer = message->first.from == key.from;
            messages += ofPeer ? 1U : 0U;
            bytes += ofPeer ? message->second.cost() : 0U;
            if (message->first == key) continue;
            if (older(message, stalest)) stalest = message;
            if (ofPeer && older(message, stalestOfPeer)) stalestOfPeer = message;
        }
        bool const peerFull = messages > PEER_MESSAGES || bytes > PEER_SHARE * m_maximumPayload;
        bool const full = m_messages.size() > MESSAGES || this->bytes() + more > SHARE * m_maximumPayload;
        if (!peerFull && !full) return true;
        auto const victim = peerFull ? stalestOfPeer : stalest;
        if (victim == m_messages.end()) return false;
        drop(victim, "it makes room for another one");
    }
}

std::optional<std::chrono::milliseconds> Tp_assembler::dropSilent(std::chrono::milliseconds now) {
    std::optional<std::chrono::milliseconds> next;
    for (auto message = m_messages.begin(); message != m_messages.end();) {
        auto const current = message++;
        auto const due = current->second.lastNews + SILENCE;
        if (due <= now)
            drop(current, "segments are missing");
        else
            next = std::min(next.value_or(due), due);
    }
    return next;
}

std::size_t Tp_assembler::bytes() const noexcept {
    std::size_t bytes = 0;
    for (auto const& [key, message] : m_messages) bytes += message.cost();
    return bytes;
}

void Tp_assembler::drop(Messages::iterator message, char const* why) {
    Key const& key = message->first;
    note(key.from, key.service, key.method, key.session, why);
    m_messages.erase(message);
}

}  // namespace eb::com::runtime::someip
