#include "platform/com/discovery/Sd_speaker.h"

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

namespace eb::com::runtime {

using Heard = Sd_peers::Heard;
using Kind = Sd_relay::Kind;
using std::chrono::milliseconds;

namespace {

std::uint32_t ageOf(Sd_peers::Known const& known, milliseconds now) {
    return static_cast<std::uint32_t>(std::max((now - known.heard).count(), milliseconds::rep{0}));
}

/// The last word counts, also while what was said before still waits.
void sayLast(std::vector<Sd_entry>& waiting, Sd_entry const& entry) {
    std::erase(waiting, entry);
    waiting.push_back(entry);
}

}  // namespace

/// Hears one of the sockets.
class Sd_speaker::Ear : public someip::Link_user {
public:
    Ear(Sd_speaker& speaker, bool multicast) : m_speaker(speaker), m_multicast(multicast) {}

    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override {
        m_speaker.hear(bytes, size, from, m_multicast);
    }
    void peerEnded() override {}
    void broken(std::error_code const&) override {}
    void drained() override {}

private:
    Sd_speaker& m_speaker;
    bool const m_multicast;
};

/// A connection from another process of the address.
class Sd_speaker::Member : public someip::Link_user {
public:
    Member(Sd_speaker& speaker, std::shared_ptr<someip::Link> link)
        : m_speaker(speaker), m_link(std::move(link)) {}
    ~Member() override { m_link->close(); }

    void send(std::vector<Sd_relay> const& relays) {
        std::vector<std::uint8_t> bytes;
        for (Sd_relay const& relay : relays) append(bytes, relay);
        m_link->send(std::move(bytes));
    }
    void close() {
        m_closed = true;
        m_link->close();
    }

    void received(std::uint8_t const* bytes, std::size_t size, Address const& /*from*/) override {
        m_reader.feed(bytes, size);
        std::string fault;
        while (!m_closed) {
            auto const relay = m_reader.next(fault);
            if (!relay) break;
            m_speaker.take(*this, *relay);
        }
        if (!fault.empty()) m_speaker.leave(*this, fault);
        m_speaker.flush();
    }
    void peerEnded() override { m_speaker.leave(*this, "ended"); }
    void broken(std::error_code const& reason) override { m_speaker.leave(*this, reason.message()); }
    void drained() override {}

    Address identity;  ///< once it has joined
    bool ready = false;
    std::set<Address> partners;

private:
    Sd_speaker& m_speaker;
    std::shared_ptr<someip::Link> const m_link;
    Sd_relay_reader m_reader;
    bool m_closed = false;
};

Sd_speaker::Sd_speaker(Deployment const& deployment, someip::Network& network, Clock& clock, User& user,
                       Address const& self, std::vector<Sd_peers::Known> strangers, Counts& counts)
    : m_deployment(deployment),
      m_clock(clock),
      m_user(user),
      m_self(self),
      m_local{deployment.discovery.ports.ip, deployment.discovery.ports.first},
      m_counts(counts),
      m_peers([this] {
          auto partners = m_user.partners();
          for (auto const& [identity, member] : m_members)
              partners.insert(member->partners.begin(), member->partners.end());
          return partners;
      }),
      m_earlier(std::move(strangers)),
      m_link(network.bindDatagrams(m_local)) {
    Discovery const& settings = m_deployment.discovery;
    try {
        m_listener =
            network.listen(m_local, [this](std::shared_ptr<someip::Link> link) { accept(std::move(link)); });
        if (settings.mode == Discovery::Mode::multicast)
            m_group = network.bindGroup(settings.group, settings.interface);
    } catch (...) {
        m_link->close();
        throw;
    }
    m_fixed = settings.peers;
    if (m_group) m_fixed.push_back(settings.group);
    for (std::uint16_t count = 1; !m_group && count < settings.ports.count; ++count)
        m_fixed.push_back({m_local.ip, static_cast<std::uint16_t>(m_local.port + count)});
    std::erase(m_fixed, m_local);
    std::sort(m_fixed.begin(), m_fixed.end());
    m_fixed.erase(std::unique(m_fixed.begin(), m_fixed.end()), m_fixed.end());
    for (Address const& target : m_fixed) m_peers.keep(target);
    for (auto const& stranger : m_earlier) m_peers.keep(stranger.address);

    m_ear = std::make_shared<Ear>(*this, false);
    m_link->start(m_ear);
    if (!m_group) return;
    m_groupEar = std::make_shared<Ear>(*this, true);
    m_group->start(m_groupEar);
}

Sd_speaker::~Sd_speaker() {
    close();
}

/// The sockets go before the members' connections, so that who notices the end finds the port free.
void Sd_speaker::close() {
    if (std::exchange(m_closed, true)) return;
    flush();  // nothing, while others' offers are still missing: the next speaker names all
    m_listener.reset();
    m_link->close();
    if (m_group) m_group->close();
    m_unknown.clear();
    m_members.clear();
}

void Sd_speaker::allReady() {
    m_silent = false;
    flush();
}

void Sd_speaker::say(std::vector<Sd_say> const& words) {
    for (Sd_say const& say : words) take(m_self, say);
    flush();
}

// What the network brings.

void Sd_speaker::hear(std::uint8_t const* bytes, std::size_t size, Address const& from, bool byMulticast) {
    if (from == m_local) return;
    someip::Frame_reader reader(size);
    reader.feed(bytes, size);
    someip::Frame frame;
    auto found = someip::Frame_reader::Found::nothing;
    while ((found = reader.next(frame)) == someip::Frame_reader::Found::frame) {
        ++m_counts.received;
        std::string reason;
        auto message = decode(frame, reason);
        if (!message) {
            drop(from, reason.c_str());
            continue;
        }
        Address const peer = message->sender.value_or(from);
        if (peer == m_local) continue;
        if (peer == m_self || m_members.contains(peer)) {
            drop(from, "a process of this address doesn't speak for itself");
            continue;
        }
        if (!message->refused.empty()) {
            m_counts.malformed += message->refused.size() - 1;
            drop(from, message->refused.front().reason);
        }
        auto const& payload = frame.payload.bytes();
        std::size_t const hash =
            std::hash<std::string_view>{}({reinterpret_cast<char const*>(payload.data()), payload.size()});
        auto const heard = m_peers.hear(peer, byMulticast, *message, hash, m_clock.now());
        if (heard != Heard::copy) pass(peer, heard, std::move(*message), byMulticast);
    }
    if (found != someip::Frame_reader::Found::nothing || reader.pending() != 0 || size == 0)
        drop(from, "no whole message");
    flush();
}

void Sd_speaker::drop(Address const& from, char const* reason) {
    ++m_counts.malformed;
    m_dropped.write("discovery: from " + from.text() + ": " + reason);
}

void Sd_speaker::pass(Address const& peer, Heard heard, Sd_message message, bool byMulticast) {
    if (heard == Heard::rebooted) m_asked.forget(peer);
    Entries all;
    std::map<Address, Entries> entries;
    entries[m_self];
    for (auto const& [identity, member] : m_members) entries[identity];
    for (Sd_entry const& entry : message.entries) {
        bool const isAnswer = entry.type == Sd_entry::Type::subscribeAck;
        if (isAnswer || entry.type == Sd_entry::Type::subscribe) {
            auto const process = isAnswer ? m_asked.asker(peer, entry) : m_asked.offerer(entry);
            entries[process.value_or(m_self)].push_back(entry);
        } else {
            for (auto& [process, its] : entries) its.push_back(entry);
        }
    }
    for (auto const& [identity, member] : m_members) {
        auto portions = inPortions(entries[identity]);
        if (portions.empty() && heard != Heard::known) portions.emplace_back();
        std::vector<Sd_relay> relays;
        for (auto& portion : portions) {
            auto const detail = static_cast<std::uint8_t>(relays.empty() ? heard : Heard::known);
            relays.push_back({Kind::heard, peer, detail, byMulticast, {}, std::move(portion)});
        }
        if (!relays.empty()) member->send(relays);
    }
    message.entries = std::move(entries[m_self]);
    m_user.heard(peer, heard, message, byMulticast);
}

// What leaves.

void Sd_speaker::flush() {
    if (m_silent) return;
    if (!m_toEverybody.empty()) send(std::exchange(m_toEverybody, {}), everybody());
    if (!m_toPeers.empty())
        send(std::exchange(m_toPeers, {}), m_group ? m_fixed : m_peers.heard(m_clock.now()));
    for (auto const& [peer, entries] : std::exchange(m_toPeer, {})) send(entries, {peer});
}

std::vector<Address> Sd_speaker::everybody() const {
    auto targets = m_fixed;
    if (m_group) return targets;
    auto const now = m_clock.now();
    auto const add = [&](Address const& peer) {
        if (std::find(targets.begin(), targets.end(), peer) == targets.end()) targets.push_back(peer);
    };
    for (Address const& peer : m_peers.heard(now)) add(peer);
    for (auto const& stranger : m_earlier)
        if (now - stranger.heard <= Sd_peers::MEMORY) add(stranger.address);
    // No process reads at the ports that are identities.
    std::erase_if(targets,
                  [this](Address const& target) { return target == m_self || m_members.contains(target); });
    return targets;
}

void Sd_speaker::send(Entries const& entries, std::vector<Address> const& targets) {
    for (auto& portion : inPortions(entries)) {
        Sd_message message;
        message.entries = std::move(portion);
        for (Address const& target : targets) {
            auto const stamp = m_peers.next(target);
            message.session = stamp.session;
            message.reboot = stamp.reboot;
            m_link->send(encode(message), target);
            ++m_counts.sent;
        }
    }
}

// What members say.

void Sd_speaker::accept(std::shared_ptr<someip::Link> link) {
    Address const from = link->remote();
    if (from.ip != m_local.ip || m_members.size() >= MEMBERS) {
        link->close();
        m_refused.write("discovery: member at " + from.text() +
                        (from.ip != m_local.ip ? ": of another address" : ": one too many"));
        return;
    }
    if (m_unknown.size() == UNKNOWN) leave(*m_unknown.front(), "didn't join in time");
    auto const member = std::make_shared<Member>(*this, link);
    m_unknown.push_back(member);
    link->start(member);
}

void Sd_speaker::take(Member& member, Sd_relay const& relay) {
    bool const hasJoined = member.identity.port != 0;
    if (relay.kind == Kind::join && !hasJoined) {
        join(member, relay.address);
    } else if (relay.kind == Kind::say && hasJoined &&
               relay.detail <= static_cast<std::uint8_t>(Sd_say::To::fellow)) {
        ++m_counts.received;
        if (!take(member.identity, {static_cast<Sd_say::To>(relay.detail), relay.address, relay.entries}))
            leave(member, "says too much");
    } else if (relay.kind == Kind::partners && hasJoined) {
        member.partners.clear();
        for (auto const& known : relay.list) member.partners.insert(known.address);
        if (!std::exchange(member.ready, true)) m_user.ready(member.identity);
    } else {
        leave(member, "a message out of place");
    }
}

void Sd_speaker::join(Member& member, Address const& identity) {
    if (identity.ip != m_local.ip || identity.port == 0 || identity == m_self || identity == m_local)
        return leave(member, "an identity that can't be");
    // The process has noticed the end of its former connection first.
    if (auto const former = m_members.find(identity); former != m_members.end())
        leave(*former->second, "has joined anew");
    auto const at = std::find_if(m_unknown.begin(), m_unknown.end(),
                                 [&](auto const& unknown) { return unknown.get() == &member; });
    if (at == m_unknown.end()) return;
    member.identity = identity;
    std::vector<Sd_relay> relays{{Kind::welcome, m_self, 0, false, {}, {}}};
    for (auto const& stranger : strangers())
        relays.front().list.push_back({stranger.address, ageOf(stranger, m_clock.now())});
    for (auto const& [fellow, other] : m_members) relays.push_back({Kind::joined, fellow, 0, false, {}, {}});
    member.send(relays);
    tellMembers({Kind::joined, identity, 0, true, {}, {}}, identity);
    m_members.emplace(identity, *at);
    m_unknown.erase(at);
    m_user.joined(identity, true);
}

void Sd_speaker::leave(Member& member, std::string const& reason) {
    auto const isIt = [&](auto const& other) { return other.get() == &member; };
    auto const unknown = std::find_if(m_unknown.begin(), m_unknown.end(), isIt);
    auto const known = m_members.find(member.identity);
    bool const joined = known != m_members.end() && isIt(known->second);
    if (m_closed || (!joined && unknown == m_unknown.end())) return;
    auto const kept = joined ? known->second : *unknown;
    Address const identity = member.identity;
    kept->close();
    m_refused.write("discovery: member " + (joined ? identity.text() : "that hasn't joined") + ": " + reason);
    if (!joined) {
        m_unknown.erase(unknown);
        return;
    }
    m_members.erase(known);
    auto const stops = m_asked.remove(identity);
    for (Sd_entry const& stop : stops.offers) sayLast(m_toEverybody, stop);
    for (auto const& [peer, stop] : stops.subscriptions) sayLast(m_toPeer[peer], stop);
    tellMembers({Kind::left, identity, 0, false, {}, {}}, identity);
    m_user.left(identity);
    flush();
}

bool Sd_speaker::take(Address const& from, Sd_say say) {
    if (say.to == Sd_say::To::fellow) {
        deliver(say.peer, from, say.entries);
        return true;
    }
    for (Sd_entry& entry : say.entries)
        if (!m_asked.say(from, say.peer, entry)) return false;
    if (say.to == Sd_say::To::stranger) {
        for (Sd_entry const& entry : say.entries) sayLast(m_toPeer[say.peer], entry);
        return true;
    }
    for (Sd_entry const& entry : say.entries)
        sayLast(say.to == Sd_say::To::everybody ? m_toEverybody : m_toPeers, entry);
    for (auto const& [identity, member] : m_members)
        if (identity != from) deliver(identity, from, say.entries);
    if (from != m_self) deliver(m_self, from, say.entries);
    return true;
}

void Sd_speaker::deliver(Address const& to, Address const& from, Entries const& entries) {
    if (to == m_self) {
        Sd_message message;
        message.entries = entries;
        m_user.heard(from, Heard::known, message, false);
    } else if (auto const member = m_members.find(to); member != m_members.end()) {
        std::vector<Sd_relay> relays;
        for (auto& portion : inPortions(entries))
            relays.push_back(
                {Kind::heard, from, static_cast<std::uint8_t>(Heard::known), false, {}, std::move(portion)});
        if (!relays.empty()) member->second->send(relays);
    }
}

void Sd_speaker::tellMembers(Sd_relay const& relay, Address const& but) {
    for (auto const& [identity, member] : m_members)
        if (identity != but) member->send({relay});
}

std::vector<Sd_peers::Known> Sd_speaker::strangers() const {
    auto strangers = m_peers.known();
    auto const now = m_clock.now();
    for (auto const& earlier : m_earlier) {
        bool const again = std::any_of(strangers.begin(), strangers.end(), [&](auto const& stranger) {
            return stranger.address == earlier.address;
        });
        if (!again && now - earlier.heard <= Sd_peers::MEMORY) strangers.push_back(earlier);
    }
    return strangers;
}

}  // namespace eb::com::runtime
