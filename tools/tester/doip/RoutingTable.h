// Which tester is active on which connection.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>

#include "tools/tester/doip/Alarm.h"
#include "tools/tester/doip/Entity.h"

namespace tester::doip {

class Connection;

/// The connection table of ISO 13400-2 with its socket handler: decides on routing activations. Where an
/// address or all sockets are taken, the connections that hold them are asked whether they are alive; those
/// that don't answer in time are closed, and make room. Network thread.
///
///     request --free--> activated
///        |  '--address or type unknown, socket taken by another address--> denied
///        '--taken--> asking --all answered--> denied
///                     |  '--one was closed, or didn't answer and is closed--> activated
///                     '--the asking connection itself has gone--> forgotten
class RoutingTable {
public:
    using Answer = std::function<void(Activation)>;

    RoutingTable(asio::io_context& context, Entity const& entity, Transport const& transport);

    /// Calls `answer` once, now or after an alive check. The connection may have gone by then.
    void request(Connection& connection, std::uint16_t tester, std::uint8_t type, Answer answer);
    /// The connection has answered an alive check.
    void alive(Connection& connection);
    /// The connection has gone, or is about to go.
    void remove(Connection& connection);

    std::size_t active() const noexcept { return m_byTester.size(); }

private:
    struct Inquiry {
        Connection* connection;
        std::uint16_t tester;
        Answer answer;
        std::set<Connection*> asked;  ///< those that haven't answered
        Activation otherwise;         ///< the answer if all of them are alive
        Alarm limit;
    };
    using Inquiries = std::list<std::unique_ptr<Inquiry>>;

    Connection* holderOf(std::uint16_t tester) const;
    void inquire(std::unique_ptr<Inquiry> inquiry);
    void closeSilent(Inquiry* inquiry);
    void settle(Inquiries::iterator inquiry);
    Activation tryToActivate(Connection& connection, std::uint16_t tester, Activation otherwise);

    asio::io_context& m_context;
    Entity const& m_entity;
    Transport const& m_transport;
    std::map<std::uint16_t, Connection*> m_byTester;
    std::map<Connection*, std::uint16_t> m_byConnection;
    Inquiries m_inquiries;
};

}  // namespace tester::doip
