#include "platform/com/discovery/Sd_early.h"

namespace eb::com::runtime {

bool Sd_early::add(Sd_request const& request, Time now) {
    auto const known = m_waiting.find(request.subscriber);
    if (known != m_waiting.end()) {
        known->second.request = request;
        return true;
    }
    if (m_waiting.size() == WAITING) return false;
    m_waiting.emplace(request.subscriber, Waiting{request, now + PATIENCE});
    return true;
}

void Sd_early::removeOf(Address const& peer) {
    takeIf([&](Waiting const& waiting) { return waiting.request.peer == peer; });
}

void Sd_early::removeOf(Service_deployment const& service) {
    takeIf([&](Waiting const& waiting) { return waiting.request.subscriber.service == &service; });
}

std::vector<Sd_request> Sd_early::takeConnected(Endpoint const& at, Address const& subscriber) {
    return takeIf([&](Waiting const& waiting) {
        Subscriber const& early = waiting.request.subscriber;
        return early.service->endpoint == at && early.endpoint.address == subscriber;
    });
}

std::vector<Sd_request> Sd_early::takeExpired(Time now) {
    return takeIf([&](Waiting const& waiting) { return waiting.expires <= now; });
}

std::vector<Sd_request> Sd_early::takeIf(std::function<bool(Waiting const&)> const& condition) {
    std::vector<Sd_request> taken;
    std::erase_if(m_waiting, [&](auto const& entry) {
        if (!condition(entry.second)) return false;
        taken.push_back(entry.second.request);
        return true;
    });
    return taken;
}

std::optional<Sd_early::Time> Sd_early::due() const {
    std::optional<Time> first;
    for (auto const& [subscriber, waiting] : m_waiting)
        if (!first || waiting.expires < *first) first = waiting.expires;
    return first;
}

}  // namespace eb::com::runtime
