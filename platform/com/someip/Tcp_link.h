#pragma once

#include <asio/ip/tcp.hpp>
#include <deque>
#include <memory>
#include <vector>

#include "platform/com/runtime/Loop.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime::someip {

/// A TCP connection on an Asio socket.
///
///     connecting --connected--> open --endSending, all sent--> half (reads on)
///         \---------error---------\--error, queue full--> closed <--close-- (any)
///
/// Operations under way own the link. They end soon after it has closed.
class Tcp_link : public Link, public std::enable_shared_from_this<Tcp_link> {
public:
    Tcp_link(std::shared_ptr<Loop> loop, asio::ip::tcp::socket socket, std::size_t sendQueueBytes);

    /// Makes the link a connecting one. Before start.
    void connectTo(asio::ip::tcp::endpoint remote) {
        m_target = remote;
        m_connecting = true;
    }

    void start(std::weak_ptr<Link_user> user) override;
    void send(std::vector<std::uint8_t> bytes, Address const& to) override;
    bool idle() const override { return m_queue.empty(); }
    void pause() override;
    void resume() override;
    void hurry() override;
    void endSending() override;
    void close() override;
    Address local() const override { return m_local; }
    Address remote() const override { return m_remote; }

private:
    void learnAddresses();
    void connect();
    void connected(asio::error_code const& error);
    void read();
    void write();
    void fail(asio::error_code const& error);

    std::shared_ptr<Loop> m_loop;  // before the socket, which needs the loop's context to the end
    asio::ip::tcp::socket m_socket;
    std::size_t const m_sendQueueBytes;
    std::weak_ptr<Link_user> m_user;
    asio::ip::tcp::endpoint m_target;  // of a connecting link
    Address m_local;
    Address m_remote;
    std::deque<std::vector<std::uint8_t>> m_queue;  // the first is being written, unless connecting
    std::size_t m_queued = 0;
    std::vector<std::uint8_t> m_buffer;
    bool m_connecting = false;
    unsigned m_attempt = 0;  // to connect
    bool m_reading = false;
    bool m_ended = false;  // by the peer
    bool m_paused = false;
    bool m_watching = false;  // for a reset, while paused
    bool m_endSending = false;
    bool m_closed = false;
};

}  // namespace eb::com::runtime::someip
