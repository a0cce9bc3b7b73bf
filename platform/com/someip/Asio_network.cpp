#include "platform/com/someip/Asio_network.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <asio/ip/multicast.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/ip/udp.hpp>
#include <utility>

#include "platform/com/runtime/Peer_line.h"
#include "platform/com/someip/Tcp_link.h"
#include "platform/com/someip/Udp_link.h"

namespace eb::com::runtime::someip {
namespace {

/// A child process of the application must not keep the port open.
template <class Socket>
void closeOnExec(Socket& socket) {
    ::fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
}

template <class Protocol>
typename Protocol::endpoint toEndpoint(Address const& address) {
    return {asio::ip::address_v4(address.ip), address.port};
}

constexpr std::chrono::milliseconds RETRY{100};

/// How long a peer may be out of reach before its connection breaks. Left to itself, the system keeps the
/// connections of a vanished host for hours.
constexpr std::chrono::seconds REACH_LIMIT{10};
constexpr std::chrono::seconds PROBED_AFTER{5};  ///< of silence
constexpr std::chrono::seconds PROBE_PAUSE{1};

/// The system breaks the connection with ETIMEDOUT when its peer acknowledges neither probes, which go out
/// while nothing else does, nor what is sent to it.
void breakWhenOutOfReach(asio::ip::tcp::socket& socket) {
    auto const set = [&](int level, int option, auto time) {
        auto const value = static_cast<int>(time.count());
        ::setsockopt(socket.native_handle(), level, option, &value, sizeof value);
    };
    asio::error_code ignored;
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    set(IPPROTO_TCP, TCP_KEEPIDLE, PROBED_AFTER);
    set(IPPROTO_TCP, TCP_KEEPINTVL, PROBE_PAUSE);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, std::chrono::milliseconds(REACH_LIMIT));
}

/// What a datagram socket keeps until the io thread comes to read it: a message of 1 MiB in segments, with
/// what the system adds to each of them. Only a privileged process gets more than net.core.rmem_max.
void enlargeReceiveBuffer(asio::ip::udp::socket& socket) {
    int const bytes = 2 << 20;  // doubled by the system
    if (::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) == 0) return;
    ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

class Tcp_listener : public std::enable_shared_from_this<Tcp_listener> {
public:
    Tcp_listener(std::shared_ptr<Loop> loop, Address const& local, std::size_t sendQueueBytes,
                 Network::Accepted accepted)
        : m_loop(std::move(loop)),
          m_acceptor(m_loop->context()),
          m_clock(*m_loop),
          m_cannotAccept(m_clock, ara::log::LogLevel::kError),
          m_sendQueueBytes(sendQueueBytes),
          m_accepted(std::move(accepted)) {
        m_acceptor.open(asio::ip::tcp::v4());
        closeOnExec(m_acceptor);
        // A restarted server takes its port back at once, although connections of before still linger.
        m_acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true));
        m_acceptor.bind(toEndpoint<asio::ip::tcp>(local));
        m_acceptor.listen();
    }

    void accept() {
        m_acceptor.async_accept(
            [self = shared_from_this()](asio::error_code const& error, asio::ip::tcp::socket socket) {
                if (!self->m_acceptor.is_open()) return;
                if (error) return self->retry(error);
                closeOnExec(socket);
                asio::error_code ignored;
                socket.set_option(asio::ip::tcp::no_delay(true), ignored);
                breakWhenOutOfReach(socket);
                self->m_accepted(
                    std::make_shared<Tcp_link>(self->m_loop, std::move(socket), self->m_sendQueueBytes));
                self->accept();
            });
    }

    void close() {
        asio::error_code ignored;
        m_acceptor.close(ignored);
        m_timer.reset();
    }

private:
    /// Out of descriptors, most likely: some may be free again soon.
    void retry(asio::error_code const& error) {
        m_cannotAccept.write("can't accept a connection: " + error.message());
        m_timer = m_clock.after(RETRY, [weak = weak_from_this()] {
            if (auto const self = weak.lock(); self && self->m_acceptor.is_open()) self->accept();
        });
    }

    std::shared_ptr<Loop> m_loop;  // before the acceptor, which needs the loop's context to the end
    asio::ip::tcp::acceptor m_acceptor;
    Loop_clock m_clock;
    Peer_line m_cannotAccept;
    std::size_t m_sendQueueBytes;
    Network::Accepted m_accepted;
    Clock::Timer m_timer;
};

/// Runs what opens a socket. Asio's errors have a category of their own, which doesn't compare with
/// std::errc; they are thrown in the standard's.
template <class Make>
auto withStandardErrors(Make const& make) {
    try {
        return make();
    } catch (std::system_error const& error) {
        throw std::system_error(error.code().value(), std::system_category());
    }
}

class Open_listener : public Listener {
public:
    explicit Open_listener(std::shared_ptr<Tcp_listener> listener) : m_listener(std::move(listener)) {
        m_listener->accept();
    }
    ~Open_listener() override { m_listener->close(); }

private:
    std::shared_ptr<Tcp_listener> m_listener;
};

}  // namespace

std::unique_ptr<Listener> Asio_network::listen(Address const& local, Accepted accepted) {
    return withStandardErrors([&] {
        return std::make_unique<Open_listener>(
            std::make_shared<Tcp_listener>(m_loop, local, m_sendQueueBytes, std::move(accepted)));
    });
}

std::shared_ptr<Link> Asio_network::bindDatagrams(Address const& local) {
    return withStandardErrors([&]() -> std::shared_ptr<Link> {
        asio::ip::udp::socket socket(m_loop->context(), asio::ip::udp::v4());
        closeOnExec(socket);
        enlargeReceiveBuffer(socket);
        socket.bind(toEndpoint<asio::ip::udp>(local));
        socket.set_option(asio::ip::multicast::outbound_interface(asio::ip::address_v4(local.ip)));
        socket.set_option(asio::ip::multicast::hops(1));
        return std::make_shared<Udp_link>(m_loop, std::move(socket), true);
    });
}

std::shared_ptr<Link> Asio_network::bindGroup(Address const& group, std::uint32_t interface) {
    return withStandardErrors([&]() -> std::shared_ptr<Link> {
        asio::ip::udp::socket socket(m_loop->context(), asio::ip::udp::v4());
        closeOnExec(socket);
        socket.set_option(asio::ip::udp::socket::reuse_address(true));
        socket.bind(toEndpoint<asio::ip::udp>(group));
        socket.set_option(
            asio::ip::multicast::join_group(asio::ip::address_v4(group.ip), asio::ip::address_v4(interface)));
        return std::make_shared<Udp_link>(m_loop, std::move(socket), true);
    });
}

std::shared_ptr<Link> Asio_network::connect(Endpoint const& remote) {
    return withStandardErrors([&]() -> std::shared_ptr<Link> {
        if (remote.transport == Transport::udp) {
            asio::ip::udp::socket socket(m_loop->context(), asio::ip::udp::v4());
            closeOnExec(socket);
            enlargeReceiveBuffer(socket);
            socket.connect(toEndpoint<asio::ip::udp>(remote.address));
            return std::make_shared<Udp_link>(m_loop, std::move(socket), false);
        }
        asio::ip::tcp::socket socket(m_loop->context(), asio::ip::tcp::v4());
        closeOnExec(socket);
        breakWhenOutOfReach(socket);
        auto link = std::make_shared<Tcp_link>(m_loop, std::move(socket), m_sendQueueBytes);
        link->connectTo(toEndpoint<asio::ip::tcp>(remote.address));
        return link;
    });
}

std::shared_ptr<Link> Asio_network::connectFrom(std::uint32_t local, Address const& remote) {
    return withStandardErrors([&]() -> std::shared_ptr<Link> {
        asio::ip::tcp::socket socket(m_loop->context(), asio::ip::tcp::v4());
        closeOnExec(socket);
        socket.bind(toEndpoint<asio::ip::tcp>({local, 0}));
        auto link = std::make_shared<Tcp_link>(m_loop, std::move(socket), m_sendQueueBytes);
        link->connectTo(toEndpoint<asio::ip::tcp>(remote));
        return link;
    });
}

}  // namespace eb::com::runtime::someip
