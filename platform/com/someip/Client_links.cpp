#include "platform/com/someip/Client_links.h"

#include <utility>

#include "platform/com/runtime/Log.h"
#include "platform/com/someip/Tp_link.h"

namespace eb::com::runtime::someip {

std::shared_ptr<Client_link> Client_links::to(Endpoint const& remote) {
    auto const found = m_links.find(remote);
    if (found != m_links.end()) return found->second;
    try {
        std::shared_ptr<Link> carrier = m_network.connect(remote);
        if (remote.transport == Transport::udp)
            carrier = std::make_shared<Tp_link>(std::move(carrier), m_clock, m_limits);
        auto link = std::make_shared<Client_link>(std::move(carrier), m_clock, remote, m_limits, *this);
        m_links.emplace(remote, link);
        link->start();
        return link;
    } catch (std::system_error const& error) {
        log(ara::log::LogLevel::kError, remote.text() + ": " + error.what());
        return nullptr;
    }
}

void Client_links::hurry(Endpoint const& remote) {
    if (auto const link = m_links.find(remote); link != m_links.end()) link->second->hurry();
}

void Client_links::close() {
    for (auto const& [endpoint, link] : std::exchange(m_links, {})) link->close();
}

void Client_links::linkConnected(Endpoint const& remote) {
    if (m_listener != nullptr) m_listener->linkConnected(remote);
}

void Client_links::linkGone(Endpoint const& remote) {
    m_links.erase(remote);
    if (m_listener != nullptr) m_listener->linkGone(remote);
}

void Client_links::notified(Endpoint const& remote, Frame const& frame) {
    if (m_listener != nullptr) m_listener->notified(remote, frame);
}

}  // namespace eb::com::runtime::someip
