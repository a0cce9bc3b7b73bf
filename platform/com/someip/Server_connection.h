#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <variant>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Call_source.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Peer_line.h"
#include "platform/com/runtime/Provided_service.h"
#include "platform/com/someip/Frame.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime::someip {

/// The services offered at one endpoint, by their id on the wire. io thread.
using Offers = std::map<std::uint16_t, std::shared_ptr<Provided_service>>;

/// What connections share with the endpoint that accepted them. io thread.
struct Server_context {
    std::shared_ptr<Loop> loop;
    std::shared_ptr<Backlog> backlog;
    Clock& clock;
    Limits const& limits;
    Transport transport;
    Offers offers;
    /// Whether anything is offered: a closed endpoint's connections end with their last call.
    bool open = false;
    Peer_line impossibleLength{clock, ara::log::LogLevel::kWarn};
    Peer_line unfinished{clock, ara::log::LogLevel::kWarn};
    Peer_line unread{clock, ara::log::LogLevel::kWarn};
    Peer_line brokenLink{clock, ara::log::LogLevel::kDebug};
    Peer_line longReply{clock, ara::log::LogLevel::kError};
};

/// The server's end of one TCP connection, or of an endpoint's UDP socket with all its peers: takes messages
/// apart, refuses bad ones, hands calls to the services, sends replies.
///
///     open --limit of calls, its own or the backlog's--> full (not read) --a call began or ended--> open
///     open --peer ended, sent nonsense, or left a message unfinished--> ending (reads no more messages)
///     ending, or open at a closed endpoint --no call outstanding, all sent--> lingering
///     lingering --peer ended, or 1 s--> closed
///
/// An endpoint that opens again while a call is outstanding finds its connections as they were.
/// Owned by its endpoint until it is closed; sessions know it weakly. io thread.
class Server_connection : public Link_user, public std::enable_shared_from_this<Server_connection> {
public:
    /// `closed` is called once, when the connection is of no more use.
    Server_connection(std::shared_ptr<Server_context> context, std::shared_ptr<Link> link,
                      std::function<void()> closed);
    ~Server_connection() override;

    void start();

    /// Ends the connection if it has no more reason to stay: tells that the endpoint has closed.
    void proceed();
    /// Ends the connection now.
    void close();

    /// Whether it can give way to another one: no call is under way on it, nothing waits to be sent, and no
    /// events go to its peer.
    bool isIdle() const { return m_calls == 0 && m_link->idle() && m_subscription.use_count() == 1; }
    /// When it was accepted, or heard or answered its peer last.
    std::chrono::milliseconds lastActive() const noexcept { return m_lastActive; }
    Address remote() const { return m_link->remote(); }
    /// To be kept by what sends its peer events.
    std::shared_ptr<void> subscription() const { return m_subscription; }

    void reply(Header const& request, Address const& to, std::uint8_t code,
               Serialized_payload const& payload);
    void sessionEnded(std::size_t bytes);

    /// Sends a notification, to the peer or (udp) to that address.
    void notify(Header const& header, Address const& to, Serialized_payload const& payload);
    /// Whether notifications may go to that address: udp takes any, a stream has one peer and sends him
    /// nothing more once it is ending.
    bool reaches(Address const& address) const;

    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override;
    void peerEnded() override;
    void broken(std::error_code const& reason) override;
    void drained() override { proceed(); }

private:
    bool isDatagram() const noexcept { return m_context->transport == Transport::udp; }
    bool isFull() const noexcept;
    /// Stops reading if the connection is full.
    bool pausesWhenFull();
    void readOn();
    void readFrames(Frame_reader& reader, Address const& from);
    /// Gives the peer of a stream a limit for the rest of a message.
    void watchMessage(bool tookOne);
    void handle(Frame const& frame, Address const& from);
    /// Takes no more messages; ends with the last reply.
    void endAfterReplies();
    void refuse(Header const& request, Address const& to, std::uint8_t code);

    std::shared_ptr<Server_context> const m_context;
    std::shared_ptr<Link> const m_link;
    std::function<void()> m_closed;
    std::shared_ptr<Call_source> m_source;  // from start on
    Frame_reader m_reader;                  // of the stream
    std::size_t m_calls = 0;
    std::size_t m_callBytes = 0;
    bool m_paused = false;  // not read, since it is full
    bool m_ending = false;
    bool m_peerEnded = false;
    Clock::Timer m_linger;
    Clock::Timer m_unfinished;  // while a message is
    std::chrono::milliseconds m_lastActive;
    std::shared_ptr<void> const m_subscription = std::make_shared<std::monostate>();
    Counted m_counted{counters().connections};
};

}  // namespace eb::com::runtime::someip
