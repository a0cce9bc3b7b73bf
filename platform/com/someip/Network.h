#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <system_error>
#include <vector>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime::someip {

/// Who uses a link and hears what happens on it. All calls come on the io thread, none from inside a call
/// of the link itself.
class Link_user {
public:
    virtual ~Link_user() = default;

    /// A link made by connect is connected. Streams only.
    virtual void connected() {}
    /// Bytes came. On a stream any piece of it, on a datagram link one whole datagram, or a message that was
    /// put together from several, and its sender.
    virtual void received(std::uint8_t const* bytes, std::size_t size, Address const& from) = 0;
    /// The peer will send nothing more, but may still read. Streams only.
    virtual void peerEnded() = 0;
    /// The link is of no more use; also when it couldn't connect. Nothing follows.
    virtual void broken(std::error_code const& reason) = 0;
    /// Everything handed to send is with the operating system.
    virtual void drained() = 0;
};

/// A TCP connection or a UDP socket. Never blocks. Used on the io thread. Its owner closes it; the link
/// doesn't keep its user alive.
class Link {
public:
    virtual ~Link() = default;

    /// Begins to hear. Once, right after the link was made.
    virtual void start(std::weak_ptr<Link_user> user) = 0;
    /// Queues a message. On a stream, a queue beyond its bound breaks the link with no_buffer_space, since
    /// its peer doesn't read; a datagram that can't leave is lost. `to` matters on a bound datagram socket
    /// only.
    virtual void send(std::vector<std::uint8_t> bytes, Address const& to = {}) = 0;
    /// Whether nothing waits to be sent.
    virtual bool idle() const = 0;
    /// Stops reading, and goes on, so that the peer's own send queue fills up.
    virtual void pause() = 0;
    virtual void resume() = 0;
    /// The peer was just heard on another way, so that what waits in a pause that has grown need not wait on:
    /// a stream whose bytes weren't acknowledged for long breaks with timed_out, and one that is connecting
    /// begins anew.
    virtual void hurry() {}
    /// Tells the peer that nothing more will be sent. Streams only.
    virtual void endSending() = 0;
    /// Frees the socket at once. The user hears nothing more.
    virtual void close() = 0;

    /// This end's address and the peer's, to the end of the link's life. A stream knows them once it is
    /// connected, a bound datagram socket has no peer; what isn't known is 0.0.0.0:0.
    virtual Address local() const = 0;
    virtual Address remote() const = 0;
};

/// An open door for streams; its destructor closes it.
class Listener {
public:
    virtual ~Listener() = default;
};

/// What the runtime needs of the operating system's network; tests put a network of their own here.
/// Used on the io thread. Errors of making a socket are thrown as std::system_error.
class Network {
public:
    using Accepted = std::function<void(std::shared_ptr<Link>)>;

    virtual ~Network() = default;

    virtual std::unique_ptr<Listener> listen(Address const& local, Accepted accepted) = 0;
    virtual std::shared_ptr<Link> bindDatagrams(Address const& local) = 0;
    /// Hears what is sent to a multicast group on one interface, together with all others that do. Links of
    /// bindDatagrams send to the group, through their own address's interface and not beyond its network.
    virtual std::shared_ptr<Link> bindGroup(Address const& /*group*/, std::uint32_t /*interface*/) {
        throw std::system_error(std::make_error_code(std::errc::operation_not_supported));
    }
    /// Connects while messages may already be queued.
    virtual std::shared_ptr<Link> connect(Endpoint const& remote) = 0;
    /// A stream from one of this machine's addresses, where the system would choose another.
    virtual std::shared_ptr<Link> connectFrom(std::uint32_t local, Address const& remote) = 0;
};

}  // namespace eb::com::runtime::someip
