#include "platform/com/discovery/Sd_channel.h"

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

#include <ac/com/Exceptions.h>

namespace eb::com::runtime {
namespace {

/// Of one message, so that no network has to cut it into pieces.
constexpr std::size_t MESSAGE_BYTES = 1400;

std::size_t bytesOf(Sd_entry const& entry) {
    return SD_ENTRY_BYTES + (entry.tcp ? SD_ENDPOINT_BYTES : 0) + (entry.udp ? SD_ENDPOINT_BYTES : 0) +
           (entry.multicast ? SD_ENDPOINT_BYTES : 0);
}

}  // namespace

/// Hears one of the sockets.
class Sd_channel::Ear : public someip::Link_user {
public:
    Ear(Sd_channel& channel, bool multicast) : m_channel(channel), m_multicast(multicast) {}

    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override {
        m_channel.hear(bytes, size, from, m_multicast);
    }
    void peerEnded() override {}
    void broken(std::error_code const&) override {}
    void drained() override {}

private:
    Sd_channel& m_channel;
    bool const m_multicast;
};

Sd_channel::Sd_channel(Deployment const& deployment, someip::Network& network, Clock& clock, User& user)
    : m_deployment(deployment), m_network(network), m_clock(clock), m_user(user), m_peers([&user] {
          return user.partners();
      }) {}

Sd_channel::~Sd_channel() {
    if (m_link) m_link->close();
    if (m_group) m_group->close();
}

void Sd_channel::open() {
    Discovery const& settings = m_deployment.discovery;
    m_link = bindFirstFree();
    auto const add = [this](Port_range const& range) {
        for (unsigned port = range.first; port < unsigned{range.first} + range.count; ++port) {
            Address const target{range.ip, static_cast<std::uint16_t>(port)};
            if (target != m_local) m_fixed.push_back(target);
        }
    };
    if (settings.mode == Discovery::Mode::multicast) {
        try {
            m_group = m_network.bindGroup(settings.group, settings.interface);
        } catch (std::system_error const& error) {
            throw ac::com::Invalid_argument_exception(
                m_deployment.origin + ": discovery.multicast: " + settings.group.text() +
                " can't be joined on the interface: " + error.code().message());
        }
        m_fixed.push_back(settings.group);
    } else {
        add(settings.ports);
    }
    for (Port_range const& peer : settings.peers) add(peer);
    std::sort(m_fixed.begin(), m_fixed.end());
    m_fixed.erase(std::unique(m_fixed.begin(), m_fixed.end()), m_fixed.end());
    for (Address const& target : m_fixed) m_peers.keep(target);

    m_ear = std::make_shared<Ear>(*this, false);
    m_link->start(m_ear);
    if (!m_group) return;
    m_groupEar = std::make_shared<Ear>(*this, true);
    m_group->start(m_groupEar);
}

std::shared_ptr<someip::Link> Sd_channel::bindFirstFree() {
    Port_range const& range = m_deployment.discovery.ports;
    for (unsigned port = range.first; port < unsigned{range.first} + range.count; ++port) {
        m_local = {range.ip, static_cast<std::uint16_t>(port)};
        try {
            return m_network.bindDatagrams(m_local);
        } catch (std::system_error const& error) {
            if (error.code() == std::errc::address_in_use) continue;
            throw ac::com::Invalid_argument_exception(
                m_deployment.origin + ": discovery.address: " + m_local.text() +
                " can't be bound: " + error.code().message() +
                "; name an address of this machine there, and other machines in discovery.peers");
        }
    }
    throw ac::com::Invalid_argument_exception(
        m_deployment.origin + ": discovery.ports: all of udp " + range.text() +
        " are in use; end processes that aren't needed, or give all of them a larger discovery.ports.count");
}

void Sd_channel::close() {
    flush();
    if (m_link) m_link->close();
    if (m_group) m_group->close();
    m_ear.reset();
    m_groupEar.reset();
}

void Sd_channel::add(std::vector<Sd_entry>& waiting, Sd_entry const& entry) {
    if (std::find(waiting.begin(), waiting.end(), entry) == waiting.end()) waiting.push_back(entry);
}

void Sd_channel::flush() {
    if (!m_toEverybody.empty()) send(std::exchange(m_toEverybody, {}), everybody());
    if (!m_toPeers.empty())
        send(std::exchange(m_toPeers, {}), m_group ? m_fixed : m_peers.heard(m_clock.now()));
    for (auto const& [peer, entries] : std::exchange(m_toPeer, {})) send(entries, {peer});
}

std::vector<Address> Sd_channel::everybody() const {
    auto targets = m_fixed;
    if (!m_group)
        for (Address const& peer : m_peers.heard(m_clock.now()))
            if (!std::binary_search(m_fixed.begin(), m_fixed.end(), peer)) targets.push_back(peer);
    return targets;
}

void Sd_channel::send(std::vector<Sd_entry> const& entries, std::vector<Address> const& targets) {
    for (auto entry = entries.begin(); entry != entries.end();) {
        Sd_message message;
        for (std::size_t bytes = SD_EMPTY_BYTES;
             entry != entries.end() && (bytes += bytesOf(*entry)) <= MESSAGE_BYTES; ++entry)
            message.entries.push_back(*entry);
        for (Address const& target : targets) {
            auto const stamp = m_peers.next(target);
            message.session = stamp.session;
            message.reboot = stamp.reboot;
            m_link->send(encode(message), target);
            ++m_counts.sent;
        }
    }
}

void Sd_channel::hear(std::uint8_t const* bytes, std::size_t size, Address const& from, bool byMulticast) {
    if (from == m_local) return;
    someip::Frame_reader reader(size);
    reader.feed(bytes, size);
    someip::Frame frame;
    auto found = someip::Frame_reader::Found::nothing;
    while ((found = reader.next(frame)) == someip::Frame_reader::Found::frame) {
        ++m_counts.received;
        std::string reason;
        auto const message = decode(frame, reason);
        if (!message) {
            drop(from, reason.c_str());
            continue;
        }
        Address const peer = message->sender.value_or(from);
        if (peer == m_local) continue;
        if (!message->refused.empty()) {
            m_counts.malformed += message->refused.size() - 1;
            drop(from, message->refused.front().reason);
        }
        auto const& payload = frame.payload.bytes();
        std::size_t const hash =
            std::hash<std::string_view>{}({reinterpret_cast<char const*>(payload.data()), payload.size()});
        auto const heard = m_peers.hear(peer, byMulticast, *message, hash, m_clock.now());
        if (heard != Sd_peers::Heard::copy) m_user.heard(peer, heard, *message, byMulticast);
    }
    if (found != someip::Frame_reader::Found::nothing || reader.pending() != 0 || size == 0)
        drop(from, "no whole message");
}

void Sd_channel::drop(Address const& from, char const* reason) {
    ++m_counts.malformed;
    m_dropped.write("discovery: from " + from.text() + ": " + reason);
}

std::vector<std::string> Sd_channel::targets() const {
    Discovery const& settings = m_deployment.discovery;
    std::vector<std::string> targets{m_group ? settings.group.text() : settings.ports.text()};
    for (Port_range const& peer : settings.peers) targets.push_back(peer.text());
    return targets;
}

}  // namespace eb::com::runtime
