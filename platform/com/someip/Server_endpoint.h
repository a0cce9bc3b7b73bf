#pragma once

#include <functional>
#include <memory>
#include <set>

#include "platform/com/someip/Server_connection.h"
#include "platform/com/someip/Subscribers.h"

namespace eb::com::runtime::someip {

/// Everything that this process offers at one address and port: one listener or one UDP socket, opened with
/// the first offer and closed with the last. Calls that were taken before may still be answered on
/// connections that stay for it. Owned by the runtime. io thread.
class Server_endpoint {
public:
    /// Told of a stream that was accepted, once its peer may subscribe.
    using Accepted = std::function<void(Address const& peer)>;

    Server_endpoint(std::shared_ptr<Loop> loop, std::shared_ptr<Backlog> backlog, Clock& clock,
                    Network& network, Limits const& limits, Endpoint local, Accepted accepted,
                    Subscribers::Gone subscriberGone);
    ~Server_endpoint();
    Server_endpoint(Server_endpoint const&) = delete;
    Server_endpoint& operator=(Server_endpoint const&) = delete;

    /// Throws std::system_error if the endpoint can't be bound.
    void offer(std::shared_ptr<Provided_service> const& service);
    void withdraw(Provided_service const& service);

    /// A service that is offered here sends its events to that address as well: to the peer of a connection
    /// that stands (tcp), or to any address (udp).
    Subscribe_result subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                               Address const& subscriber);
    Subscribers& subscribers() noexcept { return m_subscribers; }

private:
    void open();
    /// False if there are too many connections and none of them is idle; the link is closed then.
    bool add(std::shared_ptr<Link> link);
    /// The idle connection that gives way to a new one: of the host that has the most connections, the one
    /// that has been idle longest. Null if all are busy.
    std::shared_ptr<Server_connection> dispensable() const;

    Network& m_network;
    Endpoint const m_local;
    Accepted const m_accepted;
    std::shared_ptr<Server_context> const m_context;
    std::unique_ptr<Listener> m_listener;  // tcp
    std::set<std::shared_ptr<Server_connection>> m_connections;
    Subscribers m_subscribers;
    Peer_line m_tooMany;
};

}  // namespace eb::com::runtime::someip
