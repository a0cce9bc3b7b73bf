#include "platform/com/someip/Udp_link.h"

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <utility>

namespace eb::com::runtime::someip {
namespace {

constexpr std::size_t DATAGRAM_BYTES = 65'536;

}  // namespace

Udp_link::Udp_link(std::shared_ptr<Loop> loop, asio::ip::udp::socket socket, bool bound)
    : m_loop(std::move(loop)), m_socket(std::move(socket)), m_buffer(DATAGRAM_BYTES), m_bound(bound) {
    asio::error_code error;
    m_socket.non_blocking(true, error);  // to send, too
    auto const local = m_socket.local_endpoint(error);
    if (!error) m_local = {local.address().to_v4().to_uint(), local.port()};
    auto const remote = m_socket.remote_endpoint(error);
    if (!error) m_remote = {remote.address().to_v4().to_uint(), remote.port()};
}

void Udp_link::start(std::weak_ptr<Link_user> user) {
    m_user = std::move(user);
    read();
}

void Udp_link::read() {
    if (m_reading || m_paused || m_closed) return;
    m_reading = true;
    m_socket.async_receive_from(
        asio::buffer(m_buffer), m_from,
        [self = shared_from_this()](asio::error_code const& error, std::size_t size) {
            self->m_reading = false;
            if (self->m_closed) return;
            if (error && !self->m_bound) return self->fail(error);
            if (!error) {
                Address const from{self->m_from.address().to_v4().to_uint(), self->m_from.port()};
                if (auto const user = self->m_user.lock()) user->received(self->m_buffer.data(), size, from);
            }
            self->read();
        });
}

void Udp_link::resume() {
    m_paused = false;
    read();
}

void Udp_link::send(std::vector<std::uint8_t> bytes, Address const& to) {
    if (m_closed) return;
    asio::error_code error;
    if (m_bound)
        m_socket.send_to(asio::buffer(bytes), {asio::ip::address_v4(to.ip), to.port}, 0, error);
    else
        m_socket.send(asio::buffer(bytes), 0, error);
    if (!error) return;
    m_lost.write("a datagram of " + std::to_string(bytes.size()) + " bytes is lost: " + error.message());
    if (m_bound || error == asio::error::would_block) return;
    m_loop->post([self = shared_from_this(), error] {
        if (!self->m_closed) self->fail(error);
    });
}

void Udp_link::close() {
    m_closed = true;
    asio::error_code ignored;
    m_socket.close(ignored);
}

void Udp_link::fail(asio::error_code const& error) {
    close();
    // As the standard's category, whose errors compare with std::errc.
    if (auto const user = m_user.lock()) user->broken({error.value(), std::system_category()});
}

}  // namespace eb::com::runtime::someip
