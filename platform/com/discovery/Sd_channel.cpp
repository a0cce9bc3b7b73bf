#include "platform/com/discovery/Sd_channel.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <ac/com/Exceptions.h>

#include "platform/com/discovery/Sd_speaker.h"
#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {
namespace {

using std::chrono::milliseconds;

/// Between two attempts to speak or join; by chance, so that several don't keep step.
constexpr milliseconds SHORTEST_PAUSE{5};
constexpr milliseconds LONGEST_PAUSE{15};

}  // namespace

Sd_channel::Sd_channel(Deployment const& deployment, someip::Network& network, Clock& clock, User& user)
    : m_deployment(deployment), m_network(network), m_clock(clock), m_user(user) {}

Sd_channel::~Sd_channel() {
    free();
}

void Sd_channel::open() {
    bindIdentity();
    checkGroup();
    m_since = m_clock.now();
    join();
}

/// A port of its own that nothing is sent from: no other process of the address can have the same identity,
/// however this one ends.
void Sd_channel::bindIdentity() {
    Port_range const& range = m_deployment.discovery.ports;
    for (unsigned port = range.first + 1U; !m_name; ++port) {
        bool const inRange = port < unsigned{range.first} + range.count;
        try {
            m_name = m_network.bindDatagrams(
                {range.ip, inRange ? static_cast<std::uint16_t>(port) : std::uint16_t{0}});
        } catch (std::system_error const& error) {
            if (error.code() == std::errc::address_in_use && inRange) continue;
            throw ac::com::Invalid_argument_exception(
                m_deployment.origin + ": discovery.address: " + local().text() +
                " can't be bound: " + error.code().message() +
                "; name an address of this machine there, and other machines in discovery.peers");
        }
    }
    m_name->start({});
    m_self = m_name->local();
}

/// Also a member finds out at the start, and not when it has to speak.
void Sd_channel::checkGroup() {
    Discovery const& settings = m_deployment.discovery;
    if (settings.mode != Discovery::Mode::multicast) return;
    try {
        m_network.bindGroup(settings.group, settings.interface)->close();
    } catch (std::system_error const& error) {
        throw ac::com::Invalid_argument_exception(
            m_deployment.origin + ": discovery.multicast: " + settings.group.text() +
            " can't be joined on the interface: " + error.code().message());
    }
}

void Sd_channel::join() {
    m_retry.reset();
    if (m_closed || speak()) return;
    if (m_clock.now() - m_since >= JOIN) complain();
    Sd_member::User& user = *this;
    try {
        auto const member = std::make_shared<Sd_member>(m_network, m_clock, user, m_self, local(), m_counts);
        m_voice = member;
        member->start();
        retry(m_clock.now() - m_since < JOIN ? WELCOME : JOIN);
    } catch (std::system_error const&) {
        retrySoon();
    }
}

bool Sd_channel::speak() {
    Sd_voice::User& user = *this;
    try {
        m_voice = std::make_shared<Sd_speaker>(m_deployment, m_network, m_clock, user, m_self, m_strangers,
                                               m_counts);
    } catch (std::system_error const& error) {
        if (error.code() == std::errc::address_in_use) return false;
        log(ara::log::LogLevel::kError, m_deployment.origin + ": discovery.address: " + local().text() +
                                            " can't be bound: " + error.code().message() +
                                            "; it is tried again");
        m_voice.reset();
        retry(JOIN);
        return true;
    }
    m_speaker.reset();
    m_strangers.clear();
    if (std::exchange(m_complained, false))
        log(ara::log::LogLevel::kInfo, "discovery: " + local().text() + " is free again");
    m_user.sayAll();
    settleMissing();
    return true;
}

void Sd_channel::retry(milliseconds pause) {
    m_retry = m_clock.after(pause, [this] {
        if (m_voice) m_voice->close();
        m_voice.reset();
        join();
    });
}

void Sd_channel::retrySoon() {
    retry(m_complained ? JOIN : m_clock.between(SHORTEST_PAUSE, LONGEST_PAUSE));
}

void Sd_channel::complain() {
    if (std::exchange(m_complained, true)) return;
    log(ara::log::LogLevel::kError, m_deployment.origin + ": discovery.ports.first: " + local().text() +
                                        " is held by a program that doesn't speak for this one, or is "
                                        "stopped, so that no service is found "
                                        "or offered until it goes on or ends; end it, or give all processes "
                                        "another discovery.ports.first");
}

void Sd_channel::close() {
    if (m_closed) return;
    flush();
    free();
}

void Sd_channel::free() {
    m_closed = true;
    m_retry.reset();
    m_collect.reset();
    if (m_voice) m_voice->close();
    m_voice.reset();
    if (m_name) m_name->close();
}

void Sd_channel::add(std::vector<Sd_entry>& waiting, Sd_entry const& entry) {
    if (std::find(waiting.begin(), waiting.end(), entry) == waiting.end()) waiting.push_back(entry);
}

void Sd_channel::flush() {
    std::vector<Sd_say> words;
    if (!m_toEverybody.empty())
        words.push_back({Sd_say::To::everybody, {}, std::exchange(m_toEverybody, {})});
    if (!m_toPeers.empty()) words.push_back({Sd_say::To::peers, {}, std::exchange(m_toPeers, {})});
    for (auto& [peer, entries] : std::exchange(m_toPeer, {})) {
        auto const to = m_fellows.contains(peer) ? Sd_say::To::fellow : Sd_say::To::stranger;
        words.push_back({to, peer, std::move(entries)});
    }
    if (auto const voice = m_voice; voice && voice->isReady()) voice->say(words);
}

// What the voice says.

void Sd_channel::heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
                       bool byMulticast) {
    if (auto const fellow = m_fellows.find(peer); fellow != m_fellows.end()) fellow->second = m_clock.now();
    m_user.heard(peer, heard, message, byMulticast);
}

void Sd_channel::joined(Address const& fellow, bool justNow) {
    m_fellows.insert_or_assign(fellow, m_clock.now());
    if (!m_voice || !m_voice->isSpeaker()) {
        if (!m_speaker) m_speaker = fellow;  // the first that a member hears of
        m_missing.erase(fellow);
    }
    if (justNow) m_user.heard(fellow, Sd_peers::Heard::first, {}, false);
}

void Sd_channel::ready(Address const& fellow) {
    if (m_missing.erase(fellow) != 0) settleMissing();
}

void Sd_channel::left(Address const& fellow) {
    m_fellows.erase(fellow);
    m_user.left(fellow);
    if (m_missing.erase(fellow) != 0) settleMissing();
}

void Sd_channel::welcomed() {
    m_retry.reset();
    m_since = m_clock.now();
    m_complained = false;
    m_user.sayAll();
}

/// The speaker is gone, or wasn't one.
void Sd_channel::broken() {
    if (m_closed) return;
    auto const former = std::exchange(m_voice, nullptr);
    bool const wasMember = former && former->isReady();
    auto const speaker = std::exchange(m_speaker, std::nullopt);
    auto const now = m_clock.now();
    bool const again = wasMember && now - m_since < LONGEST_PAUSE;
    if (wasMember) {
        m_strangers = former->strangers();
        m_since = now;
        miss();
        if (speaker) left(*speaker);
    }
    if (!wasMember || again)
        retrySoon();
    else
        join();
}

void Sd_channel::miss() {
    for (auto const& [fellow, time] : m_fellows) m_missing.insert(fellow);
    m_collect = m_clock.after(COLLECT, [this] {
        for (Address const& fellow : std::exchange(m_missing, {})) left(fellow);
        settleMissing();
    });
}

void Sd_channel::settleMissing() {
    if (!m_missing.empty()) return;
    m_collect.reset();
    if (m_voice) m_voice->allReady();
}

// For people.

Address Sd_channel::local() const noexcept {
    return {m_deployment.discovery.ports.ip, m_deployment.discovery.ports.first};
}

std::string Sd_channel::role() const {
    if (m_voice && m_voice->isSpeaker()) return "speaker";
    return m_voice && m_voice->isReady() ? "member" : "joining";
}

std::vector<std::string> Sd_channel::targets() const {
    Discovery const& settings = m_deployment.discovery;
    bool const byGroup = settings.mode == Discovery::Mode::multicast;
    std::vector<std::string> targets{byGroup ? settings.group.text() : settings.ports.text()};
    for (Address const& peer : settings.peers) targets.push_back(peer.text());
    return targets;
}

std::vector<Sd_peers::Known> Sd_channel::known() const {
    auto known = m_voice ? m_voice->strangers() : m_strangers;
    for (auto const& [fellow, time] : m_fellows) known.push_back({fellow, time, 0});
    return known;
}

}  // namespace eb::com::runtime
