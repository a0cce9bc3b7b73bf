#include "platform/com/testing/Raw_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <system_error>
#include <utility>

namespace eb::com::runtime::testing {
namespace {

constexpr int SHORT_WHILE_MS = 100;

int check(int result, char const* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

sockaddr_in toSystem(Address const& address) {
    sockaddr_in system{};
    system.sin_family = AF_INET;
    system.sin_addr.s_addr = htonl(address.ip);
    system.sin_port = htons(address.port);
    return system;
}

void bindTo(int descriptor, Address const& address) {
    sockaddr_in const system = toSystem(address);
    check(::bind(descriptor, reinterpret_cast<sockaddr const*>(&system), sizeof system), "bind");
}

}  // namespace

Raw_socket::Raw_socket(int descriptor, bool datagram) : m_descriptor(descriptor), m_datagram(datagram) {
    timeval const patience{10, 0};
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    int const buffer = 4 << 20;  // a test may come late to read what it asked for
    if (datagram && ::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof buffer) != 0)
        ::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
}

Raw_socket::Raw_socket(Endpoint const& remote)
    : Raw_socket(check(::socket(AF_INET, remote.transport == Transport::udp ? SOCK_DGRAM : SOCK_STREAM, 0),
                       "socket"),
                 remote.transport == Transport::udp) {
    sockaddr_in const system = toSystem(remote.address);
    check(::connect(m_descriptor, reinterpret_cast<sockaddr const*>(&system), sizeof system), "connect");
}

Raw_socket::Raw_socket(Raw_socket&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)),
      m_datagram(other.m_datagram),
      m_reader(std::move(other.m_reader)) {}

Raw_socket::~Raw_socket() {
    if (m_descriptor >= 0) ::close(m_descriptor);
}

void Raw_socket::send(Bytes const& bytes) const {
    for (std::size_t sent = 0; sent < bytes.size();) {
        ssize_t const step = ::send(m_descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (step < 0) return;  // the peer has closed, which is for the test to see
        sent += static_cast<std::size_t>(step);
    }
}

void Raw_socket::endSending() const {
    ::shutdown(m_descriptor, SHUT_WR);
}

std::optional<someip::Frame> Raw_socket::read() {
    someip::Frame frame;
    std::array<std::uint8_t, 65'536> piece{};
    while (m_reader.next(frame) != someip::Frame_reader::Found::frame) {
        ssize_t const got = ::recv(m_descriptor, piece.data(), piece.size(), 0);
        if (got <= 0) return {};
        m_reader.feed(piece.data(), static_cast<std::size_t>(got));
    }
    return frame;
}

Bytes Raw_socket::readBytes(std::size_t count) const {
    Bytes bytes(count);
    std::size_t size = 0;
    while (size < count) {
        ssize_t const got = ::recv(m_descriptor, bytes.data() + size, count - size, 0);
        if (got <= 0) break;
        size += static_cast<std::size_t>(got);
    }
    bytes.resize(size);
    return bytes;
}

Address Raw_socket::local() const {
    sockaddr_in system{};
    socklen_t size = sizeof system;
    check(::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&system), &size), "getsockname");
    return {ntohl(system.sin_addr.s_addr), ntohs(system.sin_port)};
}

bool Raw_socket::isClosedByPeer() const {
    std::array<std::uint8_t, 65'536> piece{};
    ssize_t got = 0;
    do got = ::recv(m_descriptor, piece.data(), piece.size(), 0);
    while (got > 0);
    return got == 0 || errno == ECONNRESET;
}

bool Raw_socket::isSilent() const {
    pollfd ready{m_descriptor, POLLIN, 0};
    return ::poll(&ready, 1, SHORT_WHILE_MS) == 0;
}

Raw_listener::Raw_listener(Address const& local)
    : m_descriptor(check(::socket(AF_INET, SOCK_STREAM, 0), "socket")) {
    int const yes = 1;
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    bindTo(m_descriptor, local);
    check(::listen(m_descriptor, 8), "listen");
}

Raw_listener::~Raw_listener() {
    ::close(m_descriptor);
}

Raw_socket Raw_listener::accept() const {
    pollfd ready{m_descriptor, POLLIN, 0};
    if (::poll(&ready, 1, 10'000) != 1) throw std::system_error(ETIMEDOUT, std::generic_category(), "accept");
    return Raw_socket(check(::accept(m_descriptor, nullptr, nullptr), "accept"), false);
}

Address freeAddress() {
    // Each process takes addresses of its own out of 127.64.0.0/10, so that tests may run side by side.
    static std::atomic<std::uint32_t> next{0};
    auto const process = static_cast<std::uint32_t>(::getpid()) & 0xFFFFU;
    Address address{0x7F400000U | (process << 5U) | (next++ & 0x1FU), 0};
    int const probe = check(::socket(AF_INET, SOCK_STREAM, 0), "socket");
    bindTo(probe, address);
    sockaddr_in system{};
    socklen_t size = sizeof system;
    check(::getsockname(probe, reinterpret_cast<sockaddr*>(&system), &size), "getsockname");
    ::close(probe);
    address.port = ntohs(system.sin_port);
    return address;
}

someip::Header request(std::uint16_t service, std::uint16_t method, std::uint16_t session) {
    someip::Header header;
    header.service = service;
    header.method = method;
    header.client = 0x0101;
    header.session = session;
    header.interfaceVersion = 2;
    return header;
}

Bytes frame(someip::Header const& header, Bytes const& payload) {
    return someip::encode(header, payload);
}

}  // namespace eb::com::runtime::testing
