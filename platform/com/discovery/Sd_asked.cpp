#include "platform/com/discovery/Sd_asked.h"

#include <algorithm>

namespace eb::com::runtime {
namespace {

bool isSameInstance(Sd_entry const& one, Sd_entry const& other) {
    return one.service == other.service && one.instance == other.instance && one.major == other.major;
}

bool isSameEventgroup(Sd_entry const& one, Sd_entry const& other) {
    return isSameInstance(one, other) && one.eventgroup == other.eventgroup;
}

Sd_entry endOf(Sd_entry entry) {
    entry.ttl = 0;
    return entry;
}

}  // namespace

bool Sd_asked::say(Address const& process, Address const& peer, Sd_entry& entry) {
    if (entry.type == Sd_entry::Type::offer) return sayOffer(process, entry);
    if (entry.type != Sd_entry::Type::subscribe) return true;
    entry.counter = 0;
    std::vector<bool> taken(COUNTERS);
    for (auto said = m_subscriptions.begin(); said != m_subscriptions.end(); ++said) {
        if (said->peer != peer || !isSameEventgroup(said->entry, entry)) continue;
        Sd_entry same = endOf(entry);
        same.counter = said->entry.counter;
        if (said->process == process && said->entry == same) {
            entry.counter = same.counter;
            if (entry.ttl == 0) m_subscriptions.erase(said);
            return true;
        }
        taken[said->entry.counter % COUNTERS] = true;
    }
    if (entry.ttl == 0) return true;
    auto const free = std::find(taken.begin(), taken.end(), false);
    if (free != taken.end()) entry.counter = static_cast<std::uint8_t>(free - taken.begin());
    return add(m_subscriptions, {process, peer, endOf(entry)});
}

bool Sd_asked::sayOffer(Address const& process, Sd_entry const& entry) {
    auto const said = std::find_if(m_offers.begin(), m_offers.end(), [&](Said const& known) {
        return known.process == process && isSameInstance(known.entry, entry);
    });
    if (entry.ttl == 0) {
        if (said != m_offers.end()) m_offers.erase(said);
        return true;
    }
    if (said == m_offers.end()) return add(m_offers, {process, {}, endOf(entry)});
    said->entry = endOf(entry);
    return true;
}

bool Sd_asked::add(std::vector<Said>& where, Said said) {
    auto const count = std::count_if(where.begin(), where.end(),
                                     [&](Said const& known) { return known.process == said.process; });
    if (static_cast<std::size_t>(count) >= ENTRIES) return false;
    where.push_back(std::move(said));
    return true;
}

std::optional<Address> Sd_asked::offerer(Sd_entry const& subscribe) const {
    for (Said const& said : m_offers)
        if (isSameInstance(said.entry, subscribe)) return said.process;
    return {};
}

std::optional<Address> Sd_asked::asker(Address const& peer, Sd_entry const& answer) const {
    for (Said const& said : m_subscriptions)
        if (said.peer == peer && isSameEventgroup(said.entry, answer) && said.entry.counter == answer.counter)
            return said.process;
    return {};
}

void Sd_asked::forget(Address const& peer) {
    std::erase_if(m_subscriptions, [&](Said const& said) { return said.peer == peer; });
}

Sd_asked::Stops Sd_asked::remove(Address const& process) {
    Stops stops;
    std::erase_if(m_offers, [&](Said const& said) {
        if (said.process != process) return false;
        stops.offers.push_back(said.entry);
        return true;
    });
    std::erase_if(m_subscriptions, [&](Said const& said) {
        if (said.process != process) return false;
        stops.subscriptions.emplace_back(said.peer, said.entry);
        return true;
    });
    return stops;
}

}  // namespace eb::com::runtime
