#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/com/discovery/Directory.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Peer_line.h"
#include "platform/com/runtime/Provided_service.h"
#include "platform/com/runtime/Sink_queue.h"
#include "platform/com/someip/Client_links.h"

namespace eb::com::runtime {

/// The events that this process hears: which sinks listen to which instance, and how their samples get here.
/// All sinks of one eventgroup share one subscription, and all of one publisher one connection.
///
/// An instance by where it is found:
///
///     nowhere (not_subscribed) <--> here: offered by this process (subscribed at once)
///        ^                           ^
///        '--------> elsewhere <------'
///
/// and each eventgroup of an instance elsewhere:
///
///     linking (pending) --connected--> asked (pending) --acknowledged--> subscribed
///        ^                               '--refused--> not_subscribed
///        '-- the link broke: a new one after RETRY -- (any)
///
/// Owned by the runtime. io thread.
class Subscriptions : public Directory_listener, public someip::Link_listener {
public:
    /// Gives the instance's offer by this process, or null.
    using Offer_of = std::function<std::shared_ptr<Provided_service>(Service_deployment const&)>;

    Subscriptions(Directory& directory, someip::Client_links& links, Clock& clock, Offer_of offerOf)
        : m_directory(directory), m_links(links), m_clock(clock), m_offerOf(std::move(offerOf)) {}

    /// The sink hears of an event, first how things stand.
    void add(Service_deployment const& service, unsigned short event,
             std::shared_ptr<Sink_queue> const& sink);
    void remove(Service_deployment const& service, std::shared_ptr<Sink_queue> const& sink);

    /// Forgets all sinks without a word.
    void end() { m_publishers.clear(); }

    /// An instance that this process offers has sent an event.
    void published(Service_deployment const& service, unsigned short event,
                   Serialized_payload const& payload);

    /// Where the subscription of this process to an eventgroup stands; nothing if there is none.
    std::optional<Event_state> state(Service_deployment const& service, std::uint16_t eventgroup) const;

    void locationChanged(Service_deployment const& service) override;
    void heardAt(Endpoint const& endpoint) override { m_links.hurry(endpoint); }
    void subscriptionChanged(Service_deployment const& service, std::uint16_t eventgroup,
                             Event_state state) override;
    void linkConnected(Endpoint const& remote) override;
    void linkGone(Endpoint const& remote) override;
    void notified(Endpoint const& remote, someip::Frame const& frame) override;

private:
    struct Sink {
        unsigned short event;
        std::shared_ptr<Sink_queue> queue;
    };
    struct Group {
        Event_state state = Event_state::not_subscribed;
        bool asked = false;  ///< of the directory
    };
    /// An instance with at least one sink.
    struct Publisher {
        explicit Publisher(Service_deployment const& service) : deployment(service) {}

        Service_deployment const& deployment;
        std::vector<Sink> sinks;
        std::map<std::uint16_t, Group> groups;  ///< those that a sink listens to
        bool isOffered = false;
        std::shared_ptr<Provided_service> here;
        std::optional<Endpoint> elsewhere;
        std::shared_ptr<someip::Client_link> link;            ///< to elsewhere
        std::map<unsigned short, Serialized_payload> values;  ///< of fields, as they came from elsewhere
        Clock::Timer retry;
    };

    void find(Publisher& publisher);
    void reach(Publisher& publisher);
    void ask(Publisher& publisher);
    void leave(Publisher& publisher);
    void unsubscribe(Publisher& publisher, std::uint16_t eventgroup, Group& group);
    void retryLater(Publisher& publisher);
    static void tell(Publisher const& publisher, std::uint16_t eventgroup, Group& group, Event_state state);
    static Event_state stateWhenFound(Publisher const& publisher);
    static void giveValue(Publisher const& publisher, Sink const& sink);

    Directory& m_directory;
    someip::Client_links& m_links;
    Clock& m_clock;
    Peer_line m_unwanted{m_clock, ara::log::LogLevel::kDebug};
    Offer_of const m_offerOf;
    std::map<Service_deployment const*, Publisher> m_publishers;
};

}  // namespace eb::com::runtime
