// What peers say, and what comes of it for the rows of the directory.
#include "platform/com/discovery/Sd_directory.h"

#include <algorithm>
#include <utility>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {
namespace {

/// Pairs of peers that offer the same, of which a warning was logged. Further ones are logged again.
constexpr std::size_t RIVALS_LOGGED = 64;

template <class Number>
bool means(Number asked, Number any, Number value) {
    return asked == any || asked == value;
}

}  // namespace

void Sd_directory::heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
                         bool byMulticast) {
    if (heard == Sd_peers::Heard::rebooted) peerRebooted(peer);
    // A new peer learns at once what is offered here, also if its own question was lost.
    if (heard != Sd_peers::Heard::known && m_deployment.discovery.mode == Discovery::Mode::unicast)
        for (Row const& row : m_rows)
            if (row.offer.isAnnounced()) m_channel.tell(peer, offerOf(row));
    // Not everybody shall answer at once what everybody was asked.
    auto const answerAt =
        byMulticast ? std::optional(m_clock.now() + random(m_deployment.discovery.requestResponseDelay))
                    : std::nullopt;
    for (Sd_entry const& entry : message.entries) switch (entry.type) {
            case Sd_entry::Type::find:
                handleFind(peer, entry, answerAt);
                break;
            case Sd_entry::Type::offer:
                handleOffer(peer, entry);
                break;
            case Sd_entry::Type::subscribe:
                handleSubscribe(peer, entry);
                break;
            case Sd_entry::Type::subscribeAck:
                handleAnswer(peer, entry);
                break;
        }
    for (auto const& [entry, reason] : message.refused)
        if (entry.type == Sd_entry::Type::subscribe && entry.ttl != 0) refuse(peer, entry);
    settle();
}

std::set<Address> Sd_directory::partners() const {
    auto partners = m_subscribers.peers();
    for (Row const& row : m_rows)
        if (row.search.found()) partners.insert(row.search.found()->peer);
    return partners;
}

void Sd_directory::peerRebooted(Address const& peer) {
    m_notices.tell({Kind::rebooted, {}, {}, peer.text(), "rebooted"});
    peerGone(peer, "rebooted");
}

void Sd_directory::peerGone(Address const& peer, char const* reason) {
    forget(m_subscribers.removeOf(peer), reason);
    m_early.removeOf(peer);
    for (Row& row : m_rows) {
        auto const before = row.search.found();
        row.rivals.remove(peer);
        if (row.search.rebooted(peer, m_clock.now(), initialDelay()) != Sd_search::Change::lost) continue;
        lost(row, before, reason);
        takeRival(row);
    }
}

void Sd_directory::left(Address const& fellow) {
    peerGone(fellow, "gone");
    settle();
}

void Sd_directory::sayAll() {
    for (Row& row : m_rows) {
        if (row.offer.isAnnounced()) m_channel.tellEverybody(offerOf(row));
        if (row.wanted != 0 && !row.search.found() && !row.search.isInitiallyWaiting())
            m_channel.tellEverybody(entryFor(Sd_entry::Type::find, row));
        for (auto const& [eventgroup, wish] : row.wishes)
            if (wish.subscription.isAsked()) ask(row, eventgroup, wish);
    }
    settle();
}

void Sd_directory::handleFind(Address const& peer, Sd_entry const& entry,
                              std::optional<Sd_answers::Time> answerAt) {
    for (Row const& row : m_rows) {
        Service_deployment const& service = row.deployment;
        if (!row.offer.isAnnounced() || entry.service != service.serviceId ||
            !means(entry.instance, ANY_INSTANCE, service.instanceId) ||
            !means(entry.major, ANY_MAJOR, service.version.major()) ||
            !means(entry.minor, ANY_MINOR, service.version.minor()))
            continue;
        if (answerAt)
            m_answers.add(peer, service, *answerAt);
        else
            m_channel.tell(peer, offerOf(row));
    }
}

void Sd_directory::handleOffer(Address const& peer, Sd_entry const& entry) {
    Row* const row = rowOf(entry);
    if (row == nullptr) {
        ++m_ignored;
        return;
    }
    auto const before = row->search.found();
    if (entry.ttl == 0) {
        row->rivals.remove(peer);
        if (row->search.stopped(peer) != Sd_search::Change::lost) return;
        lost(*row, before, "withdrawn");
        takeRival(*row);
        return;
    }
    Transport const transport = row->deployment.endpoint.transport;
    auto const& address = entry.endpoint(transport);
    if (!address) {
        ++m_ignored;
        return;
    }
    using Change = Sd_search::Change;
    Sd_found const offer{peer, {transport, *address}, m_clock.now(), std::chrono::seconds(entry.ttl)};
    auto const change = row->search.offered(offer);
    if (change == Change::none) return rivalOffered(*row, offer);
    row->rivals.remove(peer);
    if (change == Change::renewed) {
        for (auto& [eventgroup, wish] : row->wishes)
            if (wish.subscription.offered(m_clock.now())) ask(*row, eventgroup, wish);
    } else if (change == Change::replaced) {
        replace(*row, *before, offer, "rebooted");
    } else if (change == Change::found) {
        found(*row);
    }
    m_clients->heardAt(row->search.found()->endpoint);
    unite();
}

void Sd_directory::rivalOffered(Row& row, Sd_found const& offer) {
    auto const used = row.search.found()->peer;
    row.rivals.offered(offer, m_clock.now());
    if (m_rivalsLogged.size() == RIVALS_LOGGED) m_rivalsLogged.clear();
    if (m_rivalsLogged.insert(std::minmax(used, offer.peer)).second)
        log(ara::log::LogLevel::kWarn, "discovery: " + used.text() + " and " + offer.peer.text() +
                                           " both offer " + row.deployment.interface.value + " instance " +
                                           row.deployment.instance.value + ", and maybe more; " +
                                           used.text() + " was there first");
    unite();
}

std::optional<std::uint32_t> Sd_directory::chosenHost() const {
    for (Row const& row : m_rows)
        if (row.search.found() && !row.rivals.known(m_clock.now()).empty())
            return row.search.found()->peer.ip;
    return {};
}

void Sd_directory::unite() {
    auto const host = chosenHost();
    if (!host) return;
    for (Row& row : m_rows) {
        auto const used = row.search.found();
        if (!used || used->peer.ip == *host || !row.rivals.hasOffersOf(*host, m_clock.now())) continue;
        replace(row, *used, *row.rivals.take(host, m_clock.now()), "another vehicle's is used");
        row.rivals.offered(*used, m_clock.now());
    }
}

/// `row.search` may have the new offer already.
void Sd_directory::replace(Row& row, Sd_found const& before, Sd_found const& offer, char const* reason) {
    row.search.stopped(row.search.found()->peer);
    lost(row, before, reason);
    row.search.offered(offer);
    found(row);
}

void Sd_directory::takeRival(Row& row) {
    auto const rival = row.rivals.take(chosenHost(), m_clock.now());
    if (!rival) return;
    row.search.offered(*rival);
    found(row);
}

void Sd_directory::handleSubscribe(Address const& peer, Sd_entry const& entry) {
    Row const* const row = rowOf(entry);
    auto const& address =
        row == nullptr ? std::optional<Address>() : entry.endpoint(row->deployment.endpoint.transport);
    if (!address) {
        ++m_ignored;
        if (entry.ttl != 0) refuse(peer, entry);
        return;
    }
    Service_deployment const& service = row->deployment;
    Subscriber const subscriber{&service, entry.eventgroup, {service.endpoint.transport, *address}};
    if (entry.ttl == 0) {
        m_early.remove(subscriber);
        if (m_subscribers.remove(subscriber)) forget({subscriber}, "stop");
        return;
    }
    Sd_request const request{subscriber, peer, entry};
    auto const result = row->here ? accept(request) : Subscribe_result::notOffered;
    if (result == Subscribe_result::accepted) return;
    if (result != Subscribe_result::noConnection || !m_early.add(request, m_clock.now())) refuse(peer, entry);
}

Subscribe_result Sd_directory::accept(Sd_request const& request) {
    auto const& [subscriber, peer, entry] = request;
    Service_deployment const& service = *subscriber.service;
    auto const result = m_publisher->subscribe(service, subscriber.eventgroup, subscriber.endpoint);
    if (result != Subscribe_result::accepted) return result;
    Sd_entry ack = entry;
    ack.type = Sd_entry::Type::subscribeAck;
    ack.tcp = ack.udp = ack.multicast = std::nullopt;
    m_channel.tell(peer, ack);
    if (!m_subscribers.add(subscriber, peer, m_clock.now(), std::chrono::seconds(entry.ttl))) return result;
    m_notices.tell(Kind::subscribed, service, subscriber.endpoint.text(), "subscribe");
    m_channel.flush();
    m_publisher->sendInitial(service, entry.eventgroup, subscriber.endpoint);
    return result;
}

void Sd_directory::refuse(Address const& peer, Sd_entry const& subscribe) {
    Sd_entry nack = subscribe;
    nack.type = Sd_entry::Type::subscribeAck;
    nack.ttl = 0;
    nack.tcp = nack.udp = nack.multicast = std::nullopt;
    m_channel.tell(peer, nack);
}

void Sd_directory::handleAnswer(Address const& peer, Sd_entry const& entry) {
    Row* const row = rowOf(entry);
    if (row == nullptr || !row->search.found() || row->search.found()->peer != peer) return;
    auto const at = row->wishes.find(entry.eventgroup);
    if (at == row->wishes.end()) return;
    Wish& wish = at->second;
    bool const accepted = entry.ttl != 0;
    if (accepted ? !wish.subscription.acknowledged(m_clock.now(), std::chrono::seconds(entry.ttl))
                 : !wish.subscription.refused(m_clock.now()))
        return;
    m_notices.tell(accepted ? Kind::acknowledged : Kind::refused, row->deployment, peer.text(),
                   accepted ? "acknowledged" : "refused");
    tellWish(*row, entry.eventgroup, wish);
}

Sd_directory::Row* Sd_directory::rowOf(Sd_entry const& entry) {
    for (Row& row : m_rows)
        if (row.deployment.serviceId == entry.service && row.deployment.instanceId == entry.instance &&
            means(row.deployment.version.major(), ANY_MAJOR, entry.major))
            return &row;
    return nullptr;
}

}  // namespace eb::com::runtime
