#include "platform/com/someip/Server_endpoint.h"

#include <utility>

#include "platform/com/someip/Tp_link.h"

namespace eb::com::runtime::someip {

Server_endpoint::Server_endpoint(std::shared_ptr<Loop> loop, std::shared_ptr<Backlog> backlog, Clock& clock,
                                 Network& network, Limits const& limits, Endpoint local, Accepted accepted,
                                 Subscribers::Gone subscriberGone)
    : m_network(network),
      m_local(local),
      m_accepted(std::move(accepted)),
      m_context(
          new Server_context{std::move(loop), std::move(backlog), clock, limits, local.transport, {}, false}),
      m_subscribers(limits, std::move(subscriberGone)),
      m_tooMany(clock, ara::log::LogLevel::kWarn) {}

Server_endpoint::~Server_endpoint() {
    m_listener.reset();
    m_subscribers.clear();  // nobody is told of them any more
    for (auto const& connection : std::exchange(m_connections, {})) connection->close();
}

void Server_endpoint::offer(std::shared_ptr<Provided_service> const& service) {
    if (!m_context->open) open();
    m_context->offers[service->deployment().serviceId] = service;
}

void Server_endpoint::open() {
    m_context->open = true;
    try {
        if (m_local.transport == Transport::tcp)
            m_listener = m_network.listen(m_local.address, [this](std::shared_ptr<Link> link) {
                Address const peer = link->remote();
                if (add(std::move(link))) m_accepted(peer);
            });
        else if (m_connections.empty())
            add(std::make_shared<Tp_link>(m_network.bindDatagrams(m_local.address), m_context->clock,
                                          m_context->limits));
    } catch (...) {
        m_context->open = false;
        throw;
    }
}

bool Server_endpoint::add(std::shared_ptr<Link> link) {
    if (m_connections.size() >= m_context->limits.connections) {
        auto const idle = dispensable();
        m_tooMany.write(m_local.text() + ": too many connections; " +
                        (idle ? "one that is idle is closed" : "another one is refused"));
        ++counters().dropped;
        if (!idle) {
            link->close();
            return false;
        }
        idle->close();
    }
    auto const holder = std::make_shared<std::weak_ptr<Server_connection>>();
    auto const connection = std::make_shared<Server_connection>(m_context, std::move(link), [this, holder] {
        auto const closed = holder->lock();
        m_connections.erase(closed);
        if (closed) m_subscribers.removeAll(*closed);
    });
    *holder = connection;
    m_connections.insert(connection);
    connection->start();
    return true;
}

std::shared_ptr<Server_connection> Server_endpoint::dispensable() const {
    std::map<std::uint32_t, std::size_t> connectionsOf;
    for (auto const& connection : m_connections) ++connectionsOf[connection->remote().ip];
    std::shared_ptr<Server_connection> chosen;
    auto const rank = [&](Server_connection const& connection) {
        return std::pair(~connectionsOf[connection.remote().ip], connection.lastActive());
    };
    for (auto const& connection : m_connections)
        if (connection->isIdle() && (!chosen || rank(*connection) < rank(*chosen))) chosen = connection;
    return chosen;
}

void Server_endpoint::withdraw(Provided_service const& service) {
    m_context->offers.erase(service.deployment().serviceId);
    m_subscribers.removeAll(service.deployment().serviceId);
    if (!m_context->offers.empty()) return;
    m_context->open = false;
    m_listener.reset();
    auto const connections = m_connections;
    for (auto const& connection : connections) connection->proceed();
}

Subscribe_result Server_endpoint::subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                                            Address const& subscriber) {
    for (auto const& connection : m_connections)
        if (connection->reaches(subscriber))
            return m_subscribers.add(service.serviceId, eventgroup, subscriber, connection)
                       ? Subscribe_result::accepted
                       : Subscribe_result::tooMany;
    return Subscribe_result::noConnection;
}

}  // namespace eb::com::runtime::someip
