#pragma once

#include <map>
#include <memory>

#include "platform/com/someip/Client_link.h"

namespace eb::com::runtime::someip {

/// The links of this process's clients, one to each endpoint that one of them has reached for. Owned by the
/// runtime. io thread.
class Client_links : public Link_listener {
public:
    Client_links(Network& network, Clock& clock, Limits const& limits)
        : m_network(network), m_clock(clock), m_limits(limits) {}

    /// Who hears of links, from then on.
    void listen(Link_listener& listener) { m_listener = &listener; }

    /// The link to an endpoint, made now if there is none; null if there is no socket to be had.
    std::shared_ptr<Client_link> to(Endpoint const& remote);

    /// The peer at an endpoint was just heard on another way.
    void hurry(Endpoint const& remote);

    /// Closes all links without a word; for the end of the runtime, when no call is open any more.
    void close();

private:
    void linkConnected(Endpoint const& remote) override;
    void linkGone(Endpoint const& remote) override;
    void notified(Endpoint const& remote, Frame const& frame) override;

    Network& m_network;
    Clock& m_clock;
    Limits const& m_limits;
    Link_listener* m_listener = nullptr;
    std::map<Endpoint, std::shared_ptr<Client_link>> m_links;
};

}  // namespace eb::com::runtime::someip
