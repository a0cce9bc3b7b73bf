#include "platform/com/testing/Fake_peer.h"

namespace eb::com::runtime::testing {

void Fake_channel::with(std::function<void(someip::Link&)> const& act) {
    m_loop->run([&] { act(*m_link); });
}

void Fake_channel::send(std::vector<std::uint8_t> bytes, Address const& to) {
    with([&](someip::Link& link) { link.send(std::move(bytes), to); });
}

void Fake_channel::close() {
    with([](someip::Link& link) { link.close(); });
}

Address Fake_channel::local() {
    Address address;
    with([&](someip::Link& link) { address = link.local(); });
    return address;
}

std::size_t Fake_channel::count() const {
    std::lock_guard lock(m_mutex);
    return m_received.size();
}

std::vector<Fake_channel::Message> Fake_channel::take() {
    std::lock_guard lock(m_mutex);
    return std::exchange(m_received, {});
}

std::vector<std::uint8_t> Fake_channel::stream() {
    std::vector<std::uint8_t> all;
    for (Message const& piece : take()) all.insert(all.end(), piece.bytes.begin(), piece.bytes.end());
    return all;
}

bool Fake_channel::isConnected() const {
    std::lock_guard lock(m_mutex);
    return m_connected;
}

bool Fake_channel::hasEnded() const {
    std::lock_guard lock(m_mutex);
    return m_ended;
}

std::optional<std::errc> Fake_channel::error() const {
    std::lock_guard lock(m_mutex);
    return m_error;
}

int Fake_channel::drains() const {
    std::lock_guard lock(m_mutex);
    return m_drains;
}

void Fake_channel::connected() {
    std::lock_guard lock(m_mutex);
    m_connected = true;
}

void Fake_channel::received(std::uint8_t const* bytes, std::size_t size, Address const& from) {
    std::lock_guard lock(m_mutex);
    m_received.push_back({{bytes, bytes + size}, from});
}

void Fake_channel::peerEnded() {
    std::lock_guard lock(m_mutex);
    m_ended = true;
}

void Fake_channel::broken(std::error_code const& reason) {
    std::lock_guard lock(m_mutex);
    m_error = static_cast<std::errc>(reason.value());
}

void Fake_channel::drained() {
    std::lock_guard lock(m_mutex);
    ++m_drains;
}

Fake_peer::Fake_peer(Fake_clock& clock, Fake_network& network, std::uint32_t ip, std::size_t sendQueueBytes)
    : m_loop(std::make_shared<Loop>()),
      m_clock(clock.of(m_loop)),
      m_network(network.host(ip, m_loop, sendQueueBytes)) {}

Fake_peer::~Fake_peer() {
    m_loop->end([this] {
        m_listener.reset();
        for (auto const& channel : m_channels) channel->closeHere();
        m_channels.clear();
        m_accepted.clear();
    });
}

std::shared_ptr<Fake_channel> Fake_peer::keep(std::shared_ptr<someip::Link> link) {
    auto const channel = std::make_shared<Fake_channel>(m_loop, link);
    m_channels.push_back(channel);
    link->start(channel);
    return channel;
}

std::shared_ptr<Fake_channel> Fake_peer::bind(Address const& local) {
    std::shared_ptr<Fake_channel> channel;
    m_loop->run([&] { channel = keep(m_network->bindDatagrams(local)); });
    return channel;
}

std::shared_ptr<Fake_channel> Fake_peer::join(Address const& group) {
    std::shared_ptr<Fake_channel> channel;
    m_loop->run([&] { channel = keep(m_network->bindGroup(group, 0)); });
    return channel;
}

std::shared_ptr<Fake_channel> Fake_peer::connect(Endpoint const& remote) {
    std::shared_ptr<Fake_channel> channel;
    m_loop->run([&] { channel = keep(m_network->connect(remote)); });
    return channel;
}

void Fake_peer::listen(Address const& local) {
    m_loop->run([&] {
        m_listener = m_network->listen(local, [this](std::shared_ptr<someip::Link> link) {
            m_accepted.push_back(keep(std::move(link)));
        });
    });
}

void Fake_peer::shut() {
    m_loop->run([&] { m_listener.reset(); });
}

std::vector<std::shared_ptr<Fake_channel>> Fake_peer::accepted() {
    std::vector<std::shared_ptr<Fake_channel>> accepted;
    m_loop->run([&] { accepted = m_accepted; });
    return accepted;
}

}  // namespace eb::com::runtime::testing
