#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_message.h"

namespace eb::com::runtime {

/// What the processes of one address have on the wire: who offers what, and who has asked which stranger for
/// which eventgroup. Two of them may ask for the same one; the entry's counter then distinguishes their
/// subscriptions.
///
/// Bounded by ENTRIES of each process. One thread.
class Sd_asked {
public:
    static constexpr std::size_t ENTRIES = 1024;
    static constexpr unsigned COUNTERS = 16;

    /// A process says that, to `peer`, which matters for a subscription. Its counter is set. False if there
    /// is no room.
    bool say(Address const& process, Address const& peer, Sd_entry& entry);
    /// Who offers what that subscription asks for.
    std::optional<Address> offerer(Sd_entry const& subscribe) const;
    /// Who asked what a stranger answers.
    std::optional<Address> asker(Address const& peer, Sd_entry const& answer) const;
    /// Subscriptions at a stranger that has forgotten them.
    void forget(Address const& peer);

    /// What has to be said, for a process that is no more: to everybody, and to strangers.
    struct Stops {
        std::vector<Sd_entry> offers;
        std::vector<std::pair<Address, Sd_entry>> subscriptions;
    };
    Stops remove(Address const& process);

private:
    struct Said {
        Address process;
        Address peer;    // subscriptions only
        Sd_entry entry;  // as the one that ends it: time to live 0
    };
    bool sayOffer(Address const& process, Sd_entry const& entry);
    bool add(std::vector<Said>& where, Said said);

    std::vector<Said> m_offers;
    std::vector<Said> m_subscriptions;
};

}  // namespace eb::com::runtime
