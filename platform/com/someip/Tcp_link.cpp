#include "platform/com/someip/Tcp_link.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <utility>

namespace eb::com::runtime::someip {
namespace {

constexpr std::size_t READ_BYTES = 16'384;

/// So often the system sent bytes again, in pauses that double from 0.2 s on, until they count as stalled:
/// the next pause is 1.6 s and more. What a network loses now and then is acknowledged after one or two.
constexpr unsigned STALLED_RETRANSMISSIONS = 3;
constexpr unsigned STALLED_CONNECTS = 1;  // the first pause is 1 s

/// How often the socket's oldest bytes were sent again without an acknowledgement.
unsigned retransmissions(asio::ip::tcp::socket& socket) {
    tcp_info info{};
    socklen_t size = sizeof info;
    bool const known = ::getsockopt(socket.native_handle(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
    return known ? info.tcpi_retransmits : 0;
}

}  // namespace

Tcp_link::Tcp_link(std::shared_ptr<Loop> loop, asio::ip::tcp::socket socket, std::size_t sendQueueBytes)
    : m_loop(std::move(loop)),
      m_socket(std::move(socket)),
      m_sendQueueBytes(sendQueueBytes),
      m_buffer(READ_BYTES) {
    if (m_socket.is_open()) learnAddresses();
}

void Tcp_link::learnAddresses() {
    asio::error_code error;
    auto const local = m_socket.local_endpoint(error);
    if (!error) m_local = {local.address().to_v4().to_uint(), local.port()};
    auto const remote = m_socket.remote_endpoint(error);
    if (!error) m_remote = {remote.address().to_v4().to_uint(), remote.port()};
}

void Tcp_link::start(std::weak_ptr<Link_user> user) {
    m_user = std::move(user);
    if (!m_connecting) {
        read();
        return;
    }
    connect();
}

void Tcp_link::connect() {
    m_socket.async_connect(m_target,
                           [self = shared_from_this(), attempt = ++m_attempt](asio::error_code const& error) {
                               if (!self->m_closed && attempt == self->m_attempt) self->connected(error);
                           });
}

void Tcp_link::hurry() {
    if (m_closed) return;
    unsigned const times = retransmissions(m_socket);
    if (!m_connecting) {
        if (times < STALLED_RETRANSMISSIONS) return;
        m_loop->post([self = shared_from_this()] {
            if (!self->m_closed) self->fail(asio::error::timed_out);
        });
        return;
    }
    if (times < STALLED_CONNECTS) return;
    asio::error_code ignored;
    auto const local = m_socket.local_endpoint(ignored).address();
    m_socket.close(ignored);
    m_socket.open(asio::ip::tcp::v4(), ignored);
    ::fcntl(m_socket.native_handle(), F_SETFD, FD_CLOEXEC);
    m_socket.bind({local, 0}, ignored);
    connect();  // an error of these comes from it as well
}

void Tcp_link::connected(asio::error_code const& error) {
    if (error) return fail(error);
    asio::error_code ignored;
    // The kernel may give the connecting socket the very port it connects to, and so connect it to itself.
    if (m_socket.local_endpoint(ignored) == m_target) return fail(asio::error::connection_refused);
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    m_connecting = false;
    learnAddresses();
    if (auto const user = m_user.lock()) user->connected();
    if (m_closed) return;
    read();
    if (!m_queue.empty()) write();
}

void Tcp_link::read() {
    if (m_reading || m_paused || m_ended || m_closed) return;
    m_reading = true;
    m_socket.async_read_some(asio::buffer(m_buffer),
                             [self = shared_from_this()](asio::error_code const& error, std::size_t size) {
                                 self->m_reading = false;
                                 if (self->m_closed) return;
                                 if (error && error != asio::error::eof) return self->fail(error);
                                 self->m_ended = error == asio::error::eof;
                                 if (auto const user = self->m_user.lock()) {
                                     if (self->m_ended)
                                         user->peerEnded();
                                     else
                                         user->received(self->m_buffer.data(), size, {});
                                 }
                                 self->read();
                             });
}

void Tcp_link::pause() {
    m_paused = true;
    if (m_watching || m_connecting || m_closed) return;
    // No read would notice that the peer has gone, and its calls would stay.
    m_watching = true;
    m_socket.async_wait(asio::ip::tcp::socket::wait_error,
                        [self = shared_from_this()](asio::error_code const& error) {
                            self->m_watching = false;
                            if (error || self->m_closed) return;
                            asio::detail::socket_option::integer<SOL_SOCKET, SO_ERROR> pending;
                            asio::error_code ignored;
                            self->m_socket.get_option(pending, ignored);
                            if (pending.value() != 0)
                                self->fail({pending.value(), asio::error::get_system_category()});
                        });
}

void Tcp_link::resume() {
    m_paused = false;
    if (!m_connecting) read();
}

void Tcp_link::send(std::vector<std::uint8_t> bytes, Address const& /*to*/) {
    if (m_closed || m_endSending) return;
    if (m_queued + bytes.size() > m_sendQueueBytes) {
        m_loop->post([self = shared_from_this()] {
            if (!self->m_closed) self->fail(asio::error::no_buffer_space);
        });
        return;
    }
    m_queued += bytes.size();
    m_queue.push_back(std::move(bytes));
    if (m_queue.size() == 1 && !m_connecting) write();
}

void Tcp_link::write() {
    asio::async_write(m_socket, asio::buffer(m_queue.front()),
                      [self = shared_from_this()](asio::error_code const& error, std::size_t) {
                          if (self->m_closed) return;
                          if (error) return self->fail(error);
                          self->m_queued -= self->m_queue.front().size();
                          self->m_queue.pop_front();
                          if (!self->m_queue.empty()) return self->write();
                          if (self->m_endSending) self->endSending();
                          if (auto const user = self->m_user.lock()) user->drained();
                      });
}

void Tcp_link::endSending() {
    m_endSending = true;
    asio::error_code ignored;
    if (m_queue.empty() && !m_closed) m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void Tcp_link::close() {
    if (m_closed) return;
    m_closed = true;
    m_queue.clear();
    asio::error_code ignored;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    m_socket.close(ignored);
}

void Tcp_link::fail(asio::error_code const& error) {
    close();
    // As the standard's category, whose errors compare with std::errc.
    if (auto const user = m_user.lock()) user->broken({error.value(), std::system_category()});
}

}  // namespace eb::com::runtime::someip
