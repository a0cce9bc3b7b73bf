#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime::testing {

using Bytes = std::vector<std::uint8_t>;

/// A peer made of nothing but a blocking socket, so that it can send what no runtime would.
class Raw_socket {
public:
    /// Connects to a server.
    explicit Raw_socket(Endpoint const& remote);
    ~Raw_socket();
    Raw_socket(Raw_socket&& other) noexcept;
    Raw_socket& operator=(Raw_socket&&) = delete;

    void send(Bytes const& bytes) const;
    /// Sends nothing more, but reads on.
    void endSending() const;
    /// The next message; nothing if the peer closes or stays silent.
    std::optional<someip::Frame> read();
    /// The next bytes of a stream as they are; fewer if the peer closes or stays silent.
    Bytes readBytes(std::size_t count) const;
    /// This end's address.
    Address local() const;
    /// Whether the peer closes the connection, whatever it still sends before.
    bool isClosedByPeer() const;
    /// Whether nothing arrives for a short while.
    bool isSilent() const;

private:
    friend class Raw_listener;
    explicit Raw_socket(int descriptor, bool datagram);

    int m_descriptor;
    bool m_datagram;
    someip::Frame_reader m_reader{64U << 20U};
};

/// A server made of nothing but a socket that listens.
class Raw_listener {
public:
    explicit Raw_listener(Address const& local);
    ~Raw_listener();
    Raw_listener(Raw_listener const&) = delete;
    Raw_listener& operator=(Raw_listener const&) = delete;

    Raw_socket accept() const;

private:
    int m_descriptor;
};

/// An address of this machine alone that nobody else here uses, with a port that is free for TCP and UDP.
Address freeAddress();

someip::Header request(std::uint16_t service, std::uint16_t method, std::uint16_t session = 1);
Bytes frame(someip::Header const& header, Bytes const& payload = {});

}  // namespace eb::com::runtime::testing
