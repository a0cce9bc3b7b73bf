#include "platform/com/runtime/Subscriptions.h"

#include <algorithm>
#include <utility>

namespace eb::com::runtime {
namespace {

/// Between a link that broke and the next one to the same publisher.
constexpr std::chrono::milliseconds RETRY{500};

}  // namespace

void Subscriptions::add(Service_deployment const& service, unsigned short event,
                        std::shared_ptr<Sink_queue> const& sink) {
    auto const [at, isFirst] = m_publishers.try_emplace(&service, service);
    Publisher& publisher = at->second;
    if (isFirst) find(publisher);
    publisher.sinks.push_back({event, sink});
    sink->serviceState(publisher.isOffered ? Client::Service_state::available
                                           : Client::Service_state::unavailable);
    auto const [group, isNew] = publisher.groups.try_emplace(service.events.at(event).eventgroup);
    if (isNew) group->second.state = stateWhenFound(publisher);
    sink->eventState(group->second.state);
    giveValue(publisher, publisher.sinks.back());
    if (isNew) reach(publisher);
}

void Subscriptions::remove(Service_deployment const& service, std::shared_ptr<Sink_queue> const& sink) {
    auto const at = m_publishers.find(&service);
    if (at == m_publishers.end()) return;
    Publisher& publisher = at->second;
    std::erase_if(publisher.sinks, [&](Sink const& known) { return known.queue == sink; });
    for (auto entry = publisher.groups.begin(); entry != publisher.groups.end();) {
        auto const isHeard = [&](Sink const& known) {
            return service.events[known.event].eventgroup == entry->first;
        };
        if (std::any_of(publisher.sinks.begin(), publisher.sinks.end(), isHeard)) {
            ++entry;
            continue;
        }
        unsubscribe(publisher, entry->first, entry->second);
        entry = publisher.groups.erase(entry);
    }
    if (publisher.sinks.empty()) m_publishers.erase(at);
}

void Subscriptions::published(Service_deployment const& service, unsigned short event,
                              Serialized_payload const& payload) {
    auto const at = m_publishers.find(&service);
    if (at == m_publishers.end() || !at->second.here) return;
    for (Sink const& sink : at->second.sinks)
        if (sink.event == event) sink.queue->sample(payload);
}

std::optional<Event_state> Subscriptions::state(Service_deployment const& service,
                                                std::uint16_t eventgroup) const {
    auto const at = m_publishers.find(&service);
    if (at == m_publishers.end()) return {};
    auto const group = at->second.groups.find(eventgroup);
    return group == at->second.groups.end() ? std::nullopt : std::optional(group->second.state);
}

void Subscriptions::locationChanged(Service_deployment const& service) {
    auto const at = m_publishers.find(&service);
    if (at == m_publishers.end()) return;
    Publisher& publisher = at->second;
    auto const here = publisher.here;
    auto const elsewhere = publisher.elsewhere;
    bool const wasOffered = publisher.isOffered;
    find(publisher);
    if (publisher.isOffered != wasOffered)
        for (Sink const& sink : publisher.sinks)
            sink.queue->serviceState(publisher.isOffered ? Client::Service_state::available
                                                         : Client::Service_state::unavailable);
    if (publisher.here == here && publisher.elsewhere == elsewhere) return;
    leave(publisher);
    for (auto& [eventgroup, group] : publisher.groups)
        tell(publisher, eventgroup, group, stateWhenFound(publisher));
    for (Sink const& sink : publisher.sinks) giveValue(publisher, sink);
    reach(publisher);
}

void Subscriptions::find(Publisher& publisher) {
    publisher.here = m_offerOf(publisher.deployment);
    publisher.isOffered = publisher.here || m_directory.isOffered(publisher.deployment);
    publisher.elsewhere =
        publisher.here || !publisher.isOffered ? std::nullopt : m_directory.locate(publisher.deployment);
}

Event_state Subscriptions::stateWhenFound(Publisher const& publisher) {
    if (publisher.here) return Event_state::subscribed;
    return publisher.elsewhere ? Event_state::pending : Event_state::not_subscribed;
}

void Subscriptions::tell(Publisher const& publisher, std::uint16_t eventgroup, Group& group,
                         Event_state state) {
    if (std::exchange(group.state, state) == state) return;
    for (Sink const& sink : publisher.sinks)
        if (publisher.deployment.events[sink.event].eventgroup == eventgroup) sink.queue->eventState(state);
}

void Subscriptions::giveValue(Publisher const& publisher, Sink const& sink) {
    if (publisher.here) {
        if (auto const value = publisher.here->value(sink.event)) sink.queue->sample(*value);
    } else if (auto const value = publisher.values.find(sink.event); value != publisher.values.end()) {
        sink.queue->sample(value->second);
    }
}

/// Does what is missing for the eventgroups of an instance elsewhere.
void Subscriptions::reach(Publisher& publisher) {
    publisher.retry.reset();
    if (!publisher.elsewhere) return;
    if (!publisher.link) publisher.link = m_links.to(*publisher.elsewhere);
    if (!publisher.link)
        retryLater(publisher);
    else if (publisher.link->isConnected())
        ask(publisher);
}

void Subscriptions::ask(Publisher& publisher) {
    auto const link = publisher.link;
    Endpoint const local{publisher.elsewhere->transport, link->local()};
    for (auto& [eventgroup, group] : publisher.groups) {
        if (group.asked || publisher.link != link) continue;
        group.asked = true;
        m_directory.subscribe(publisher.deployment, eventgroup, local);
    }
}

/// Takes back what was asked of the present publisher, and lets go of the link to it.
void Subscriptions::leave(Publisher& publisher) {
    publisher.retry.reset();
    publisher.link.reset();
    publisher.values.clear();
    for (auto& [eventgroup, group] : publisher.groups) unsubscribe(publisher, eventgroup, group);
}

void Subscriptions::unsubscribe(Publisher& publisher, std::uint16_t eventgroup, Group& group) {
    if (std::exchange(group.asked, false)) m_directory.unsubscribe(publisher.deployment, eventgroup);
}

void Subscriptions::retryLater(Publisher& publisher) {
    publisher.retry = m_clock.after(RETRY, [this, service = &publisher.deployment] {
        if (auto const at = m_publishers.find(service); at != m_publishers.end()) reach(at->second);
    });
}

void Subscriptions::subscriptionChanged(Service_deployment const& service, std::uint16_t eventgroup,
                                        Event_state state) {
    auto const at = m_publishers.find(&service);
    if (at == m_publishers.end()) return;
    auto const group = at->second.groups.find(eventgroup);
    if (group != at->second.groups.end() && group->second.asked)
        tell(at->second, eventgroup, group->second, state);
}

void Subscriptions::linkConnected(Endpoint const& remote) {
    for (auto& [service, publisher] : m_publishers)
        if (publisher.elsewhere == remote && publisher.link) ask(publisher);
}

void Subscriptions::linkGone(Endpoint const& remote) {
    for (auto& [service, publisher] : m_publishers) {
        if (publisher.elsewhere != remote || !publisher.link) continue;
        leave(publisher);
        for (auto& [eventgroup, group] : publisher.groups)
            tell(publisher, eventgroup, group, Event_state::pending);
        retryLater(publisher);
    }
}

void Subscriptions::notified(Endpoint const& remote, someip::Frame const& frame) {
    for (auto& [service, publisher] : m_publishers) {
        if (publisher.elsewhere != remote || service->serviceId != frame.header.service ||
            service->version.major() != frame.header.interfaceVersion)
            continue;
        for (unsigned short event = 0; event < service->events.size(); ++event) {
            Event_deployment const& row = service->events[event];
            if (row.id != frame.header.method) continue;
            auto const group = publisher.groups.find(row.eventgroup);
            if (group == publisher.groups.end() || !group->second.asked) break;
            if (row.field) publisher.values[event] = frame.payload;
            for (Sink const& sink : publisher.sinks)
                if (sink.event == event) sink.queue->sample(frame.payload);
            return;
        }
    }
    m_unwanted.write(remote.text() + ": a notification without a subscription is dropped");
}

}  // namespace eb::com::runtime
