#include "platform/com/discovery/Sd_member.h"

#include <algorithm>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {

using Kind = Sd_relay::Kind;
using Heard = Sd_peers::Heard;

Sd_member::Sd_member(someip::Network& network, Clock& clock, User& user, Address const& self,
                     Address const& speaker, Counts& counts)
    : m_clock(clock),
      m_user(user),
      m_self(self),
      m_speaker(speaker),
      m_counts(counts),
      m_link(network.connectFrom(self.ip, speaker)) {}

Sd_member::~Sd_member() {
    m_link->close();
}

void Sd_member::close() {
    m_ended = true;
    m_link->close();
}

void Sd_member::start() {
    m_link->start(weak_from_this());
    std::vector<std::uint8_t> bytes;
    append(bytes, {Kind::join, m_self, 0, false, {}, {}});
    m_link->send(std::move(bytes));
}

void Sd_member::received(std::uint8_t const* bytes, std::size_t size, Address const& /*from*/) {
    m_reader.feed(bytes, size);
    std::string fault;
    while (!m_ended) {
        auto const relay = m_reader.next(fault);
        if (!relay) break;
        take(*relay);
    }
    if (!fault.empty()) end(fault);
}

void Sd_member::take(Sd_relay const& relay) {
    if (relay.kind == Kind::welcome && !m_welcomed) {
        m_welcomed = true;
        for (auto const& known : relay.list)
            know({known.address, m_clock.now() - std::chrono::milliseconds(known.age), 0});
        m_user.joined(relay.address, false);
        m_fellows.insert(relay.address);
        m_user.welcomed();
    } else if (!m_welcomed) {
        end("no welcome");
    } else if (relay.kind == Kind::joined) {
        m_fellows.insert(relay.address);
        m_user.joined(relay.address, relay.flag);
    } else if (relay.kind == Kind::left) {
        m_fellows.erase(relay.address);
        m_user.left(relay.address);
    } else if (relay.kind == Kind::heard) {
        ++m_counts.received;
        auto const heard = relay.detail == static_cast<std::uint8_t>(Heard::first)      ? Heard::first
                           : relay.detail == static_cast<std::uint8_t>(Heard::rebooted) ? Heard::rebooted
                                                                                        : Heard::known;
        if (!m_fellows.contains(relay.address)) {
            auto const known = m_strangers.find(relay.address);
            unsigned const reboots = known == m_strangers.end() ? 0 : known->second.reboots;
            know({relay.address, m_clock.now(), reboots + (heard == Heard::rebooted ? 1U : 0U)});
        }
        Sd_message message;
        message.entries = relay.entries;
        m_user.heard(relay.address, heard, message, relay.flag);
    }
}

void Sd_member::know(Sd_peers::Known const& stranger) {
    if (m_strangers.size() == Sd_peers::PEERS && !m_strangers.contains(stranger.address))
        m_strangers.erase(std::min_element(
            m_strangers.begin(), m_strangers.end(),
            [](auto const& one, auto const& other) { return one.second.heard < other.second.heard; }));
    m_strangers.insert_or_assign(stranger.address, stranger);
}

void Sd_member::end(std::string const& reason) {
    if (std::exchange(m_ended, true)) return;
    log(ara::log::LogLevel::kDebug, "discovery: speaker at " + m_speaker.text() + ": " + reason);
    m_link->close();
    m_user.broken();
}

void Sd_member::say(std::vector<Sd_say> const& words) {
    if (!m_welcomed || m_ended) return;
    std::vector<std::uint8_t> bytes;
    for (Sd_say const& say : words)
        for (auto& portion : inPortions(say.entries)) {
            append(bytes,
                   {Kind::say, say.peer, static_cast<std::uint8_t>(say.to), false, {}, std::move(portion)});
            ++m_counts.sent;
        }
    auto partners = m_user.partners();
    if (!m_told || partners != m_partners) {
        m_told = true;
        m_partners = std::move(partners);
        Sd_relay relay{Kind::partners, {}, 0, false, {}, {}};
        for (Address const& partner : m_partners) relay.list.push_back({partner, 0});
        append(bytes, relay);
    }
    if (!bytes.empty()) m_link->send(std::move(bytes));
}

std::vector<Sd_peers::Known> Sd_member::strangers() const {
    std::vector<Sd_peers::Known> strangers;
    for (auto const& [address, known] : m_strangers) strangers.push_back(known);
    return strangers;
}

}  // namespace eb::com::runtime
