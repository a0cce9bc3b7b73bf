#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Open_call.h"
#include "platform/com/someip/Frame.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime::someip {

/// Hears what happens on client links. io thread.
class Link_listener {
public:
    virtual ~Link_listener() = default;

    virtual void linkConnected(Endpoint const& remote) = 0;  ///< streams only
    /// The link is of no more use; nothing follows from it.
    virtual void linkGone(Endpoint const& remote) = 0;
    /// A well-formed notification came.
    virtual void notified(Endpoint const& remote, Frame const& frame) = 0;
};

/// The client's end of the way to one endpoint, shared by all ports whose services are there. It pairs
/// answers with calls by session id, and hands notifications on; an id isn't given out again while its call
/// is open. A response or error answers a call if protocol version, client, session, service and method are
/// the request's, and is dropped otherwise. One in another interface version ends the call as a failure of
/// transport, since its payload can't be read.
///
///     connecting --connected--> open --broken, peer ended--> gone (its calls end; the next call makes a new
///     one)
///         \---error, or connect limit---------------------> gone
///
/// Owned by the runtime's table of links until it is gone. io thread.
class Client_link : public Link_user, public std::enable_shared_from_this<Client_link> {
public:
    Client_link(std::shared_ptr<Link> link, Clock& clock, Endpoint remote, Limits const& limits,
                Link_listener& listener);
    ~Client_link() override;

    void start();

    /// Sends the request under a free session id.
    void send(std::shared_ptr<Open_call> const& call, Service_deployment const& service, std::uint16_t method,
              Serialized_payload const& request);
    /// Ends without a word; for the end of the runtime, when no call is open any more.
    void close() { m_link->close(); }

    /// The peer was just heard on another way.
    void hurry() { m_link->hurry(); }

    bool isConnected() const noexcept { return m_connected; }
    /// This end's address, once it is connected.
    Address local() const { return m_link->local(); }

    void connected() override;
    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override;
    void peerEnded() override;
    void broken(std::error_code const& reason) override;
    void drained() override {}

private:
    struct Pending {
        std::uint16_t service;
        std::uint16_t method;
        std::uint8_t interfaceVersion;
        std::shared_ptr<Open_call> call;
    };
    void handle(Frame const& frame);
    void end(Call_outcome outcome, std::string const& reason);

    std::shared_ptr<Link> const m_link;
    Clock& m_clock;
    Endpoint const m_remote;
    Limits const& m_limits;
    Link_listener& m_listener;
    bool m_ended = false;
    Frame_reader m_reader;
    std::uint16_t const m_client;
    std::uint16_t m_lastSession = 0;
    std::unordered_map<std::uint16_t, Pending> m_pending;  // by session id
    bool m_connected;
    Clock::Timer m_connectTimer;
    Counted m_counted{counters().links};
};

}  // namespace eb::com::runtime::someip
