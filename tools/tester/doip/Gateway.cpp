#include "tools/tester/doip/Gateway.h"

#include <future>
#include <system_error>

#include <asio/post.hpp>

namespace tester::doip {

namespace {

std::string textOf(asio::ip::address const& address, std::uint16_t port) {
    return address.to_string() + ':' + std::to_string(port);
}

std::string textOf(asio::ip::udp::endpoint const& endpoint) {
    return textOf(endpoint.address(), endpoint.port()) + "/udp";
}

// Of vehicle announcements.
constexpr int ANNOUNCEMENTS = 3;
constexpr milliseconds ANNOUNCEMENT_INTERVAL{500};

}  // namespace

std::optional<asio::ip::address> broadcastOf(asio::ip::address const& address) {
    if (address.is_unspecified()) return {};
    if (address.is_loopback()) return asio::ip::address_v4({127, 255, 255, 255});
    return asio::ip::address_v4::broadcast();
}

Gateway::Gateway(GatewaySettings settings, Vehicle& vehicle, Tell tell)
    : m_settings(std::move(settings)),
      m_vehicle(vehicle),
      m_tell(std::move(tell)),
      m_diagnostics{Uds(vehicle, m_settings.timing, m_settings.anySession), m_settings.timing, m_lanes,
                    m_statistics},
      m_store(m_settings.transport.store),
      m_routing(m_context, m_settings.entity, m_settings.transport),
      m_shared{m_context,
               m_settings.entity,
               m_settings.transport,
               m_diagnostics,
               m_routing,
               m_store,
               m_tell,
               [this](std::shared_ptr<Connection> const& connection) { m_connections.erase(connection); }},
      m_acceptor(m_context),
      m_unicast(m_context),
      m_broadcast(m_context),
      m_retry(m_context),
      m_nextAnnouncement(m_context) {
    open();
    accept();
    receive(m_unicast);
    if (m_broadcast.socket.is_open()) receive(m_broadcast);
    asio::post(m_context, [this] { announce(ANNOUNCEMENTS); });
    m_thread = std::thread([this] { m_context.run(); });
}

Gateway::~Gateway() {
    stop();
}

Statistics Gateway::statistics() {
    if (!m_thread.joinable()) return m_statistics;
    std::promise<Statistics> counted;
    asio::post(m_context, [this, &counted] { counted.set_value(m_statistics); });
    return counted.get_future().get();
}

Statistics const& Gateway::stop() {
    if (!m_thread.joinable()) return m_statistics;
    asio::post(m_context, [this] { closeAll(); });
    m_thread.join();
    return m_statistics;
}

/// Leaves the thread without anything to wait for.
void Gateway::closeAll() {
    m_ending = true;
    m_acceptor.close();
    m_unicast.socket.close();
    m_broadcast.socket.close();
    m_retry.cancel();
    m_nextAnnouncement.cancel();
    auto const connections = m_connections;
    for (auto const& each : connections) each->close("the gateway ends");
}

void Gateway::open() {
    constexpr int ATTEMPTS = 20;  // a port that is free for TCP may be taken for UDP
    for (int attempt = 1;; ++attempt) {
        char const* carrier = "tcp ";
        try {
            m_acceptor.open(asio::ip::tcp::v4());
            m_acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true));
            m_acceptor.bind({m_settings.address, m_settings.port});
            m_acceptor.listen();
            m_port = m_acceptor.local_endpoint().port();
            carrier = "udp ";
            bind(m_unicast, m_settings.address);
            carrier = "udp broadcasts at ";
            if (auto const broadcast = broadcastOf(m_settings.address)) bind(m_broadcast, *broadcast);
            return;
        } catch (std::system_error const& error) {
            m_acceptor.close();
            m_unicast.socket.close();
            m_broadcast.socket.close();
            if (m_settings.port == 0 && attempt < ATTEMPTS) continue;
            throw std::system_error(error.code(), carrier + textOf(m_settings.address, m_settings.port));
        }
    }
}

void Gateway::bind(Datagrams& datagrams, asio::ip::address const& address) const {
    datagrams.socket.open(asio::ip::udp::v4());
    // Beside a tester that listens for announcements at all addresses, or at this one.
    datagrams.socket.set_option(asio::ip::udp::socket::reuse_address(true));
    datagrams.socket.set_option(asio::ip::udp::socket::broadcast(true));
    datagrams.socket.bind({address, m_port});
    datagrams.socket.non_blocking(true);
}

void Gateway::accept() {
    m_acceptor.async_accept([this](asio::error_code const& error, asio::ip::tcp::socket socket) {
        if (m_ending) return;
        if (error) return m_retry.set(milliseconds(100), [this] { accept(); });  // no file descriptor
        ++m_statistics.connections;
        makeRoom();
        auto const connection = std::make_shared<Connection>(std::move(socket), m_shared);
        m_connections.insert(connection);
        connection->start();
        accept();
    });
}

/// Idle connections keep no tester out: the oldest one that isn't active gives way.
void Gateway::makeRoom() {
    if (m_connections.size() - m_routing.active() < m_settings.transport.waitingMost) return;
    std::shared_ptr<Connection> oldest;
    for (auto const& each : m_connections)
        if (each->isDispensable() && (!oldest || each->since() < oldest->since())) oldest = each;
    if (oldest) oldest->close("gives way to a newer one");
}

void Gateway::announce(int times) {
    if (times == 0 || !m_settings.announceTo || m_ending) return;
    send(announcement(m_settings.entity), *m_settings.announceTo);
    m_nextAnnouncement.set(ANNOUNCEMENT_INTERVAL, [this, times] { announce(times - 1); });
}

void Gateway::receive(Datagrams& datagrams) {
    datagrams.socket.async_receive_from(
        asio::buffer(datagrams.bytes), datagrams.sender,
        [this, &datagrams](asio::error_code const& error, std::size_t size) {
            if (m_ending) return;
            asio::ip::udp::endpoint const own(m_settings.address, m_port);
            if (!error && datagrams.sender != own)  // an announcement comes back by broadcast
                answer(Bytes(datagrams.bytes).first(size), datagrams.sender);
            receive(datagrams);
        });
}

void Gateway::answer(Bytes datagram, asio::ip::udp::endpoint const& sender) {
    Status const status{m_settings.transport.sockets, m_routing.active(), m_vehicle.isReady()};
    DatagramAnswer const answer = answerDatagram(m_settings.entity, status, datagram);
    m_tell(Happening(Happening::Kind::received, textOf(sender), datagram, answer.meaning));
    if (!answer.frame.empty()) send(answer.frame, sender);
}

/// One that is lost may be asked for again.
void Gateway::send(Message const& datagram, asio::ip::udp::endpoint const& where) {
    asio::error_code lost;
    m_unicast.socket.send_to(asio::buffer(datagram), where, 0, lost);
    m_tell(Happening(Happening::Kind::sent, textOf(where), datagram,
                     typeName(read16(datagram, 2)) + (lost ? ": " + lost.message() : "")));
}

}  // namespace tester::doip
