// The DoIP gateway: its sockets and its thread.
#pragma once

#include <optional>
#include <set>
#include <thread>

#include <asio/ip/udp.hpp>

#include "tools/tester/doip/Connection.h"

namespace tester::doip {

inline constexpr std::uint16_t PORT = 13400;  ///< UDP_DISCOVERY and TCP_DATA

/// The broadcast address of the network that has this address: of the loopback net its own, of any other the
/// limited one, 255.255.255.255. None for 0.0.0.0, which names no network.
std::optional<asio::ip::address> broadcastOf(asio::ip::address const& address);

struct GatewaySettings {
    asio::ip::address address = asio::ip::address_v4::loopback();
    std::uint16_t port = PORT;  ///< 0: any that is free for both UDP and TCP
    Entity entity;
    Transport transport;
    UdsTiming timing;
    bool anySession = false;  ///< routines are started and stopped in the default session as well
    std::optional<asio::ip::udp::endpoint> announceTo;  ///< three times, 500 ms apart
};

/// Answers DoIP on one address, by UDP and TCP, until it is ended. All connections live on one thread of its
/// own; the vehicle is asked on others. Requests for identification are heard by broadcast as well. But for
/// announcements it sends nothing unasked.
class Gateway {
public:
    /// Throws std::system_error that names carrier and address if they can't be used. `tell` runs on the
    /// gateway's thread; it and the vehicle have to outlive the gateway.
    Gateway(GatewaySettings settings, Vehicle& vehicle, Tell tell);
    /// Closes all connections, and waits for calls of the vehicle that are under way: whoever is in a hurry
    /// stops those before.
    ~Gateway();
    Gateway(Gateway const&) = delete;
    Gateway& operator=(Gateway const&) = delete;

    std::uint16_t port() const noexcept { return m_port; }

    /// What it has counted so far. For the thread that ends it.
    Statistics statistics();
    /// Ends it. Afterwards what it counted stays as it is.
    Statistics const& stop();

private:
    void open();
    void closeAll();
    void accept();
    void makeRoom();
    void announce(int times);
    /// A UDP socket and what came in there.
    struct Datagrams {
        explicit Datagrams(asio::io_context& context) : socket(context) {}
        asio::ip::udp::socket socket;
        std::array<unsigned char, 2048> bytes{};
        asio::ip::udp::endpoint sender;
    };
    void bind(Datagrams& datagrams, asio::ip::address const& address) const;
    void receive(Datagrams& datagrams);
    void answer(Bytes datagram, asio::ip::udp::endpoint const& sender);
    void send(Message const& datagram, asio::ip::udp::endpoint const& where);

    GatewaySettings const m_settings;
    Vehicle& m_vehicle;
    Tell const m_tell;
    Statistics m_statistics;
    asio::io_context m_context{1};
    Lanes m_lanes{Uds::lanes()};
    Diagnostics m_diagnostics;
    Store m_store;
    RoutingTable m_routing;
    Shared m_shared;
    asio::ip::tcp::acceptor m_acceptor;
    Datagrams m_unicast;    // sends all datagrams
    Datagrams m_broadcast;  // closed where no broadcast address is known
    std::uint16_t m_port = 0;
    Alarm m_retry;
    Alarm m_nextAnnouncement;
    std::set<std::shared_ptr<Connection>> m_connections;
    bool m_ending = false;
    std::thread m_thread;  // started last
};

}  // namespace tester::doip
