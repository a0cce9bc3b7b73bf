// One tester's TCP connection.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <asio/ip/tcp.hpp>

#include "tools/tester/doip/Dialogue.h"
#include "tools/tester/doip/FrameReader.h"
#include "tools/tester/doip/Happening.h"
#include "tools/tester/doip/RoutingTable.h"

namespace tester::doip {

/// What all connections share. Outlives them.
struct Shared {
    asio::io_context& context;
    Entity const& entity;
    Transport const& transport;
    Diagnostics& diagnostics;
    RoutingTable& routing;
    Store& store;
    Tell const& tell;
    std::function<void(std::shared_ptr<Connection> const&)> closed;
};

/// A TCP_DATA socket of ISO 13400-2. What its peer doesn't read waits here, and no more is read from that
/// peer; others don't notice. Network thread. Operations under way own it: they end soon after it has closed.
///
///     waiting --routing activated--> active
///        | \                          | \--nothing for T_TCP_General_Inactivity, no answer to an alive check
///        |  '--T_TCP_Initial_Inactivity, its peer closes--> closed <--'
///        '--denied, or refused for good--> ending (sends what is queued, reads on) --> closed
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(asio::ip::tcp::socket socket, Shared& shared);

    void start();
    /// At once. `why` is for people.
    void close(std::string const& why);
    void askWhetherAlive();

    /// Whether it can give way to another connection: it isn't active, and no activation is being decided.
    bool isDispensable() const noexcept { return m_state != State::active && !m_held; }
    std::chrono::steady_clock::time_point since() const noexcept { return m_since; }

private:
    struct Queued {
        Message frame;
        std::function<void()> leaving;
    };
    enum class State : std::uint8_t { waiting, active, ending, closed };

    void read();
    void digest();
    bool mayDigest() const;
    void take(Frame frame);
    void activate(Frame const& frame);
    void answerActivation(std::uint16_t tester, Activation code);
    void diagnose(Frame const& frame);
    void refuseDiagnostic(Frame const& frame, DiagnosticNack code);
    void respond(Outgoing outgoing, std::uint16_t tester);

    void send(Type type, Message const& payload, std::string const& meaning);
    void enqueue(Message frame, std::function<void()> leaving);
    void write();
    void wrote();
    /// Closes once everything queued has been sent and the peer has closed as well, or hasn't in time.
    void finish();
    void touch();
    void tell(Happening::Kind kind, Bytes bytes, std::string meaning) const;

    Shared& m_shared;
    asio::ip::tcp::socket m_socket;
    std::string m_peer;
    std::chrono::steady_clock::time_point const m_since = std::chrono::steady_clock::now();  // connected
    State m_state = State::waiting;
    std::uint8_t m_version = VERSION_2012;  // of the peer's last frame
    std::uint16_t m_tester = 0;             // once active
    std::shared_ptr<Dialogue> m_dialogue;   // once active

    FrameReader m_reader;
    std::array<unsigned char, 4096> m_buffer{};
    Bytes m_unread;  // in m_buffer
    bool m_reading = false;
    bool m_held = false;  // an activation is being decided

    std::deque<Queued> m_queue;  // the first is being written
    std::size_t m_queuedBytes = 0;
    bool m_writing = false;
    std::chrono::steady_clock::time_point m_wroteLast;
    Alarm m_nextWrite;
    Alarm m_inactivity;
};

}  // namespace tester::doip
