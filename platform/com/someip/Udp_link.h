#pragma once

#include <asio/ip/udp.hpp>
#include <memory>
#include <vector>

#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Peer_line.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime::someip {

/// A UDP socket, bound to an address (a server's) or connected to a peer (a client's). A datagram goes to
/// the operating system at once or is lost, so nothing ever waits here. A peer's host that refuses a client's
/// datagram breaks the link; for a server that is a peer's matter, and it goes on.
class Udp_link : public Link, public std::enable_shared_from_this<Udp_link> {
public:
    Udp_link(std::shared_ptr<Loop> loop, asio::ip::udp::socket socket, bool bound);

    void start(std::weak_ptr<Link_user> user) override;
    void send(std::vector<std::uint8_t> bytes, Address const& to) override;
    bool idle() const override { return true; }
    void pause() override { m_paused = true; }
    void resume() override;
    void endSending() override {}
    void close() override;
    Address local() const override { return m_local; }
    Address remote() const override { return m_remote; }

private:
    void read();
    void fail(asio::error_code const& error);

    std::shared_ptr<Loop> m_loop;  // before the socket, which needs the loop's context to the end
    asio::ip::udp::socket m_socket;
    std::weak_ptr<Link_user> m_user;
    std::vector<std::uint8_t> m_buffer;
    asio::ip::udp::endpoint m_from;
    bool const m_bound;
    Address m_local;
    Address m_remote;
    bool m_reading = false;
    bool m_paused = false;
    bool m_closed = false;
    Loop_clock m_clock{*m_loop};
    Peer_line m_lost{m_clock, ara::log::LogLevel::kWarn};
};

}  // namespace eb::com::runtime::someip
