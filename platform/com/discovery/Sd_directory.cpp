#include "platform/com/discovery/Sd_directory.h"

#include <algorithm>
#include <utility>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {
namespace {

using std::chrono::milliseconds;

/// Cyclic offers go to those who were heard; one in so many to everybody, so that whoever heard nothing of
/// the first ones, and said nothing itself, is told within two cycles once the network lets it through.
constexpr unsigned CYCLES_TO_EVERYBODY = 2;

}  // namespace

Sd_directory::Sd_directory(Deployment const& deployment, std::shared_ptr<Loop> loop, Clock& clock,
                           someip::Network& network, std::shared_ptr<Answers> answers, Notices& notices)
    : m_deployment(deployment),
      m_ttl(static_cast<std::uint32_t>(deployment.discovery.ttl.count())),
      m_loop(std::move(loop)),
      m_clock(clock),
      m_notices(notices),
      m_searches(deployment, std::move(answers)),
      m_channel(deployment, network, clock, *this) {
    m_rows.reserve(deployment.services.size());
    for (Service_deployment const& service : deployment.services)
        m_rows.emplace_back(service, deployment.discovery);
}

void Sd_directory::start(Directory_listener& clients, Eventgroups& publisher) {
    m_clients = &clients;
    m_publisher = &publisher;
    m_channel.open();
}

void Sd_directory::end() {
    m_ended = true;
    m_timer.reset();
    for (Row& row : m_rows) {
        for (auto const& [eventgroup, wish] : std::exchange(row.wishes, {}))
            if (wish.subscription.isAsked()) ask(row, eventgroup, wish, 0);
        stopOffer(row);
    }
    m_channel.close();
}

std::optional<Endpoint> Sd_directory::locate(Service_deployment const& service) const {
    Row const& row = rowOf(service);
    if (row.here) return service.endpoint;
    return row.search.found() ? std::optional(row.search.found()->endpoint) : std::nullopt;
}

void Sd_directory::offered(Service_deployment const& service) {
    Row& row = rowOf(service);
    row.here = true;
    row.cycles = 0;
    row.offer.offer(m_clock.now(), initialDelay());
    m_searches.set(service, true);
    m_notices.tell(Kind::offered, service, "local", "offer");
    settle();
}

void Sd_directory::withdrawn(Service_deployment const& service) {
    Row& row = rowOf(service);
    row.here = false;
    stopOffer(row);
    m_early.removeOf(service);
    m_searches.set(service, row.search.found().has_value());
    m_notices.tell(Kind::lost, service, "local", "withdrawn");
    for (Subscriber const& subscriber : m_subscribers.removeOf(service))
        m_notices.tell(Kind::unsubscribed, service, subscriber.endpoint.text(), "withdrawn");
    settle();
}

std::shared_ptr<void> Sd_directory::want(Service_deployment const& service) {
    m_loop->post([this, &service] {
        Row& row = rowOf(service);
        if (++row.wanted == 1) row.search.want(m_clock.now(), initialDelay());
        settle();
    });
    // The directory lives as long as its loop takes tasks.
    return std::shared_ptr<void>(nullptr, [this, loop = m_loop, &service](void*) {
        loop->post([this, &service] {
            Row& row = rowOf(service);
            if (--row.wanted == 0) row.search.unwant();
        });
    });
}

std::shared_ptr<Service_finder::Subscription_handle> Sd_directory::subscribe(Service_id const& service,
                                                                             Instance_id const& instance,
                                                                             Found found) {
    struct Search : Service_finder::Subscription_handle {
        std::shared_ptr<Service_finder::Subscription_handle> told;
        std::vector<std::shared_ptr<void>> wanted;
    };
    auto search = std::make_shared<Search>();
    search->told = m_searches.subscribe(service, instance, std::move(found));
    for (Service_deployment const& row : m_deployment.services)
        if (matches(row, service, instance)) search->wanted.push_back(want(row));
    return search;
}

void Sd_directory::subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                             Endpoint const& local) {
    unsubscribe(service, eventgroup);
    Row& row = rowOf(service);
    Wish& wish = row.wishes.emplace(eventgroup, Wish{local, {}}).first->second;
    if (row.search.found() && wish.subscription.found(m_clock.now())) askAnew(row, eventgroup, wish);
    settle();
}

void Sd_directory::unsubscribe(Service_deployment const& service, std::uint16_t eventgroup) {
    Row& row = rowOf(service);
    auto const wish = row.wishes.find(eventgroup);
    if (wish == row.wishes.end()) return;
    if (wish->second.subscription.isAsked()) ask(row, eventgroup, wish->second, 0);
    row.wishes.erase(wish);
    settle();
}

void Sd_directory::subscriberGone(Service_deployment const& service, std::uint16_t eventgroup,
                                  Endpoint const& subscriber) {
    if (m_subscribers.remove({&service, eventgroup, subscriber}))
        m_notices.tell(Kind::unsubscribed, service, subscriber.text(), "connection gone");
}

void Sd_directory::connected(Endpoint const& at, Address const& peer) {
    for (Sd_request const& request : m_early.takeConnected(at, peer))
        if (accept(request) != Subscribe_result::accepted) refuse(request.peer, request.entry);
    settle();
}

void Sd_directory::report(Runtime_report& report) const {
    auto const now = m_clock.now();
    report.discovery = m_deployment.discovery.mode == Discovery::Mode::multicast ? "multicast" : "unicast";
    report.sd_address = m_channel.local().text();
    report.sd_identity = m_channel.identity().text();
    report.sd_role = m_channel.role();
    report.sd_targets = m_channel.targets();
    report.sd_sent = m_channel.counts().sent;
    report.sd_received = m_channel.counts().received;
    report.sd_malformed = m_channel.counts().malformed;
    report.sd_ignored = m_ignored;
    std::map<Address, unsigned> offers;
    for (std::size_t index = 0; index < m_rows.size(); ++index) {
        Row const& row = m_rows[index];
        Instance_report& instance = report.instances.at(index);
        auto const& found = row.search.found();
        if (found) ++offers[found->peer];
        instance.found = row.here || found;
        if (row.here) {
            instance.endpoint = "local";
            instance.offered_by = report.sd_identity;
        } else if (found) {
            instance.endpoint = found->endpoint.text();
            instance.offered_by = found->peer.text();
            if (!found->isForEver()) instance.ttl_left = found->expires() - now;
            for (auto const& [peer, rival] : row.rivals.known(now))
                instance.also_offered_by.push_back(peer.text() + " (" + rival.endpoint.text() + ")");
        }
        for (Instance_report::Event& event : instance.events)
            if (auto const wish = row.wishes.find(event.eventgroup); wish != row.wishes.end())
                event.subscription = wish->second.subscription.isRefused() ? "refused" : event.subscription;
    }
    for (auto const& peer : m_channel.known())
        report.peers.push_back({peer.address.text(), now - peer.heard, peer.reboots, offers[peer.address]});
}

void Sd_directory::found(Row& row) {
    m_notices.tell(Kind::offered, row.deployment, row.search.found()->endpoint.text(), "offer");
    locationChanged(row);
    for (auto& [eventgroup, wish] : row.wishes)
        if (wish.subscription.found(m_clock.now())) askAnew(row, eventgroup, wish);
}

void Sd_directory::lost(Row& row, std::optional<Sd_found> const& before, char const* reason) {
    m_notices.tell(Kind::lost, row.deployment, before->endpoint.text(), reason);
    for (auto& [eventgroup, wish] : row.wishes) wish.subscription.lost();
    locationChanged(row);
}

void Sd_directory::locationChanged(Row& row) {
    m_searches.set(row.deployment, row.here || row.search.found());
    m_clients->locationChanged(row.deployment);
}

void Sd_directory::stopOffer(Row& row) {
    if (!row.offer.withdraw()) return;
    Sd_entry stop = offerOf(row);
    stop.ttl = 0;
    m_channel.tellEverybody(stop);
}

/// A publisher that holds an earlier subscription from the same end would take a new one for its renewal, and
/// not send the fields' values again, of which this process has dropped what came while the publisher was
/// lost. It may even be the one that has just started: asked over its new connection, before a message gave
/// away that it isn't the old one.
void Sd_directory::askAnew(Row& row, std::uint16_t eventgroup, Wish const& wish) {
    auto const asked = row.asked.find(eventgroup);
    if (asked != row.asked.end() && asked->second == wish.local) ask(row, eventgroup, wish, 0);
    ask(row, eventgroup, wish);
}

void Sd_directory::ask(Row& row, std::uint16_t eventgroup, Wish const& wish, std::uint32_t ttl) {
    if (ttl == 0)
        row.asked.erase(eventgroup);
    else
        row.asked.insert_or_assign(eventgroup, wish.local);
    Sd_entry entry = entryFor(Sd_entry::Type::subscribe, row);
    entry.eventgroup = eventgroup;
    entry.ttl = ttl;
    (wish.local.transport == Transport::tcp ? entry.tcp : entry.udp) = wish.local.address;
    m_channel.tell(row.search.found()->peer, entry);
}

void Sd_directory::tellWish(Row const& row, std::uint16_t eventgroup, Wish const& wish) {
    m_clients->subscriptionChanged(row.deployment, eventgroup, wish.subscription.state());
}

/// The list has left m_subscribers already.
void Sd_directory::forget(std::vector<Subscriber> const& subscribers, char const* reason) {
    for (Subscriber const& subscriber : subscribers) {
        m_publisher->unsubscribe(*subscriber.service, subscriber.eventgroup, subscriber.endpoint);
        m_notices.tell(Kind::unsubscribed, *subscriber.service, subscriber.endpoint.text(), reason);
    }
}

// What time brings.

void Sd_directory::tick() {
    auto const now = m_clock.now();
    forget(m_subscribers.removeExpired(now), "ran out");
    for (Sd_request const& request : m_early.takeExpired(now)) refuse(request.peer, request.entry);
    for (Row& row : m_rows) {
        if (row.offer.tick(now)) {
            unsigned const early = m_deployment.discovery.repetitions + 1;
            bool const everybody = row.cycles < early || row.cycles % CYCLES_TO_EVERYBODY == 0;
            ++row.cycles;
            if (everybody)
                m_channel.tellEverybody(offerOf(row));
            else
                m_channel.tellPeers(offerOf(row));
        }
        Sd_entry const find = entryFor(Sd_entry::Type::find, row);
        using Action = Sd_search::Action;
        auto const before = row.search.found();
        for (auto action = Action::none; (action = row.search.tick(now, initialDelay())) != Action::none;)
            if (action == Action::findEverywhere)
                m_channel.tellEverybody(find);
            else if (action == Action::findAtPeer)
                m_channel.tell(row.search.found()->peer, find);
            else {
                lost(row, before, "ran out");
                takeRival(row);
            }
        tickWishes(row, now);
    }
    for (auto const& [asker, service] : m_answers.take(now))
        if (Row const& row = rowOf(*service); row.offer.isAnnounced()) m_channel.tell(asker, offerOf(row));
    settle();
}

void Sd_directory::tickWishes(Row& row, milliseconds now) {
    std::vector<std::uint16_t> changed;
    for (auto& [eventgroup, wish] : row.wishes) {
        auto const action = wish.subscription.tick(now);
        if (action.ask) ask(row, eventgroup, wish);
        if (action.changed) changed.push_back(eventgroup);
    }
    // Who is told may take a wish back.
    for (std::uint16_t const eventgroup : changed)
        if (auto const wish = row.wishes.find(eventgroup); wish != row.wishes.end())
            tellWish(row, eventgroup, wish->second);
}

void Sd_directory::settle() {
    if (m_ended) return;
    m_channel.flush();
    auto const next = due();
    if (next == m_timerDue) return;
    m_timerDue = next;
    m_timer.reset();
    if (!next) return;
    m_timer = m_clock.after(std::max(*next - m_clock.now(), milliseconds(0)), [this] {
        m_timerDue.reset();
        tick();
    });
}

std::optional<milliseconds> Sd_directory::due() const {
    auto first = m_subscribers.due();
    auto const take = [&first](std::optional<milliseconds> due) {
        if (due && (!first || *due < *first)) first = due;
    };
    take(m_early.due());
    take(m_answers.due());
    for (Row const& row : m_rows) {
        take(row.offer.due());
        take(row.search.due());
        for (auto const& [eventgroup, wish] : row.wishes) take(wish.subscription.due());
    }
    return first;
}

/// By chance, or until others that wait already have waited, so that all leave in one message.
milliseconds Sd_directory::initialDelay() {
    auto const now = m_clock.now();
    for (Row const& row : m_rows) {
        if (row.offer.isInitiallyWaiting() && *row.offer.due() >= now) return *row.offer.due() - now;
        if (row.search.isInitiallyWaiting() && *row.search.due() >= now) return *row.search.due() - now;
    }
    return random(m_deployment.discovery.initialDelay);
}

Sd_directory::Row& Sd_directory::rowOf(Service_deployment const& service) {
    return m_rows[static_cast<std::size_t>(&service - m_deployment.services.data())];
}

Sd_directory::Row const& Sd_directory::rowOf(Service_deployment const& service) const {
    return m_rows[static_cast<std::size_t>(&service - m_deployment.services.data())];
}

Sd_entry Sd_directory::entryFor(Sd_entry::Type type, Row const& row) const {
    Sd_entry entry;
    entry.type = type;
    entry.service = row.deployment.serviceId;
    entry.instance = row.deployment.instanceId;
    entry.major = row.deployment.version.major();
    entry.ttl = m_ttl;
    return entry;
}

Sd_entry Sd_directory::offerOf(Row const& row) const {
    Sd_entry entry = entryFor(Sd_entry::Type::offer, row);
    entry.minor = row.deployment.version.minor();
    Endpoint const& endpoint = row.deployment.endpoint;
    (endpoint.transport == Transport::tcp ? entry.tcp : entry.udp) = endpoint.address;
    return entry;
}

}  // namespace eb::com::runtime
