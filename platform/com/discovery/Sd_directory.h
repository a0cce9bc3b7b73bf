#pragma once

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/com/discovery/Directory.h"
#include "platform/com/discovery/Sd_answers.h"
#include "platform/com/discovery/Sd_channel.h"
#include "platform/com/discovery/Sd_early.h"
#include "platform/com/discovery/Sd_offer.h"
#include "platform/com/discovery/Sd_rivals.h"
#include "platform/com/discovery/Sd_search.h"
#include "platform/com/discovery/Sd_subscribers.h"
#include "platform/com/discovery/Sd_subscription.h"
#include "platform/com/discovery/Searches.h"
#include "platform/com/runtime/Eventgroups.h"
#include "platform/com/runtime/Notices.h"

namespace eb::com::runtime {

/// Finds services by SOME/IP service discovery. What each instance and subscription does in its time is the
/// business of Sd_offer, Sd_search, Sd_subscription, Sd_subscribers, Sd_early and Sd_answers; this gives them
/// messages and time, and sends and tells what comes of it.
///
/// What this process offers its own users find at once, without a message. What others offer is known by
/// their messages alone, and only what the deployment knows, in the same major version, at an address that
/// can be called. All memory is bounded by the deployment and by the bounds of Eventgroups, Sd_peers,
/// Sd_early and Sd_answers.
///
/// Owned by the runtime. io thread, but for the searches of users.
class Sd_directory : public Directory, private Sd_channel::User {
public:
    Sd_directory(Deployment const& deployment, std::shared_ptr<Loop> loop, Clock& clock,
                 someip::Network& network, std::shared_ptr<Answers> answers, Notices& notices);

    void start(Directory_listener& clients, Eventgroups& publisher) override;
    void end() override;

    std::optional<Endpoint> locate(Service_deployment const& service) const override;
    bool isOffered(Service_deployment const& service) const override {
        return m_searches.isAvailable(service);
    }
    void offered(Service_deployment const& service) override;
    void withdrawn(Service_deployment const& service) override;
    std::shared_ptr<void> want(Service_deployment const& service) override;

    void subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                   Endpoint const& local) override;
    void unsubscribe(Service_deployment const& service, std::uint16_t eventgroup) override;
    void subscriberGone(Service_deployment const& service, std::uint16_t eventgroup,
                        Endpoint const& subscriber) override;
    std::shared_ptr<Service_finder::Subscription_handle> subscribe(Service_id const& service,
                                                                   Instance_id const& instance,
                                                                   Found found) override;

    void connected(Endpoint const& at, Address const& peer) override;

    void report(Runtime_report& report) const override;

private:
    using Kind = Runtime_notice::Kind;
    using Subscriber = Sd_subscribers::Subscriber;

    /// The wish of this process to hear an eventgroup.
    struct Wish {
        Endpoint local;
        Sd_subscription subscription;
    };
    /// An instance of the deployment.
    struct Row {
        Row(Service_deployment const& service, Discovery const& settings)
            : deployment(service), offer(settings), search(settings) {}

        Service_deployment const& deployment;
        bool here = false;    ///< offered by this process
        unsigned cycles = 0;  ///< announcements since the offer
        Sd_offer offer;
        unsigned wanted = 0;
        Sd_search search;
        mutable Sd_rivals rivals;  ///< of the one that is found; a look at them forgets what ran out
        std::map<std::uint16_t, Wish> wishes;  ///< by eventgroup
        /// By eventgroup: the end of this process that a publisher may still hold for a subscriber.
        std::map<std::uint16_t, Endpoint> asked;
    };

    void heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
               bool byMulticast) override;
    void left(Address const& fellow) override;
    void sayAll() override;
    std::set<Address> partners() const override;
    void peerRebooted(Address const& peer);
    void peerGone(Address const& peer, char const* reason);
    /// It is answered at `answerAt`, or at once.
    void handleFind(Address const& peer, Sd_entry const& entry, std::optional<Sd_answers::Time> answerAt);
    void handleOffer(Address const& peer, Sd_entry const& entry);
    void handleSubscribe(Address const& peer, Sd_entry const& entry);
    void handleAnswer(Address const& peer, Sd_entry const& entry);
    /// Asks the publisher, and acknowledges what it accepts.
    Subscribe_result accept(Sd_request const& request);
    void refuse(Address const& peer, Sd_entry const& subscribe);

    /// Another peer offers what is found already.
    void rivalOffered(Row& row, Sd_found const& offer);
    /// All instances that several hosts offer are used at one of them: where the first of them in the
    /// deployment was found first.
    void unite();
    std::optional<std::uint32_t> chosenHost() const;
    void replace(Row& row, Sd_found const& before, Sd_found const& offer, char const* reason);
    /// Somebody else may offer what was just lost.
    void takeRival(Row& row);

    void found(Row& row);
    /// `before` is what was known of it.
    void lost(Row& row, std::optional<Sd_found> const& before, char const* reason);
    void locationChanged(Row& row);
    /// With a time to live of 0 it takes back what was asked.
    void ask(Row& row, std::uint16_t eventgroup, Wish const& wish, std::uint32_t ttl);
    void ask(Row& row, std::uint16_t eventgroup, Wish const& wish) { ask(row, eventgroup, wish, m_ttl); }
    void askAnew(Row& row, std::uint16_t eventgroup, Wish const& wish);
    void stopOffer(Row& row);
    void tellWish(Row const& row, std::uint16_t eventgroup, Wish const& wish);
    void forget(std::vector<Subscriber> const& subscribers, char const* reason);

    void tick();
    void tickWishes(Row& row, Sd_subscription::Time now);
    /// Ends every way in: sends what came of it, and sets the timer for what comes next.
    void settle();
    std::optional<std::chrono::milliseconds> due() const;
    std::chrono::milliseconds random(Discovery::Delay const& delay) {
        return m_clock.between(delay.least, delay.most);
    }
    std::chrono::milliseconds initialDelay();

    Row& rowOf(Service_deployment const& service);
    Row const& rowOf(Service_deployment const& service) const;
    /// The row that an offer, subscription or answer means; null if there is none.
    Row* rowOf(Sd_entry const& entry);
    Sd_entry offerOf(Row const& row) const;
    Sd_entry entryFor(Sd_entry::Type type, Row const& row) const;

    Deployment const& m_deployment;
    std::uint32_t const m_ttl;
    std::shared_ptr<Loop> const m_loop;
    Clock& m_clock;
    Notices& m_notices;
    Searches m_searches;
    Sd_channel m_channel;
    Directory_listener* m_clients = nullptr;
    Eventgroups* m_publisher = nullptr;
    std::vector<Row> m_rows;  // in the deployment's order
    Sd_subscribers m_subscribers;
    Sd_early m_early;
    Sd_answers m_answers;         // to searches by multicast
    std::uint64_t m_ignored = 0;  // entries
    std::set<std::pair<Address, Address>> m_rivalsLogged;
    bool m_ended = false;
    Clock::Timer m_timer;
    std::optional<std::chrono::milliseconds> m_timerDue;
};

}  // namespace eb::com::runtime
