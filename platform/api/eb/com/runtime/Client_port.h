#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <ara/log/Logger.h>
#include <eb/com/Future.h>
#include <eb/com/runtime/Ids.h>
#include <eb/com/runtime/Serialized_payload.h>
#include <eb/com/runtime/Service_finder.h>

namespace eb::com::runtime {

/// How a call ended on its way, apart from what the service answered.
enum class Call_outcome : std::uint8_t {
    answered,       ///< return code and payload are the service's, or the refusal of its runtime (no payload)
    not_available,  ///< nobody listens at the service's endpoint
    transport,      ///< the connection broke, or the frame couldn't be carried
    cancelled,      ///< given up: cancelled, past the runtime's own limit of 90 s, or the port has gone
};

/// What a call came back with. `detail` names address and reason where the outcome isn't `answered`.
struct Call_result {
    Call_outcome outcome = Call_outcome::answered;
    unsigned char return_code = 0;
    Serialized_payload payload;
    std::string detail;
};

/// A call under way. Dropping it does not end the call. Any thread.
class ARA_API Method_call {
public:
    virtual ~Method_call() = default;

    /// Has `failed` run once if the call ends without an answer, also if it has ended so already. It runs as
    /// the reply function does; on this thread if the runtime has ended meanwhile.
    virtual void on_failure(std::function<void(Call_result const&)> failed) = 0;

    /// Ends the call with outcome `cancelled` if it is still open; a late answer is dropped.
    virtual void cancel() = 0;
};

/// Where the subscription to an event stands.
enum class Event_state : std::uint8_t {
    not_subscribed,  ///< the service isn't to be had, or refuses
    pending,         ///< asked for, not yet acknowledged
    subscribed,
};

struct Client {
    /// Whether the instance behind a port is to be had.
    enum class Service_state : std::uint8_t { unavailable, available };
};

/// Hears of one event. All calls come one at a time on a runtime thread, in the order in which things
/// happened, never on the subscriber's thread and never while a lock of the runtime is held.
class ARA_API Event_sink {
public:
    virtual ~Event_sink() = default;

    /// A sample came. A sink that falls behind misses the oldest samples, never the newest.
    virtual void event_updated(Serialized_payload payload) = 0;
    virtual void event_state_changed(Event_state state) = 0;
    virtual void service_state_changed(Client::Service_state state) = 0;
};

/// The client's side of one service instance, over whichever carrier reaches it.
class ARA_API Client_port {
public:
    using Reply = std::function<void(unsigned char, Serialized_payload)>;

    virtual ~Client_port() = default;

    /// Sends a request. `reply` runs at most once, with the return code and the payload of the answer, on a
    /// runtime thread, never on the caller's, and never while a lock of the runtime is held. The future gives
    /// the call as soon as it is under way; a call that ends without an answer reports that through
    /// Method_call::on_failure. Does not block. `method_id` counts the interface's methods from 0 in
    /// alphabetical order, as on the skeleton's side. Throws Infrastructure_exception once the runtime has
    /// ended. Any thread.
    virtual Future<std::shared_ptr<Method_call>> call(unsigned short method_id, Serialized_payload request,
                                                      Reply reply) = 0;

    /// Subscribes to an event of the instance, now or as soon as it is to be had, and again whenever it was
    /// lost and came back, until the subscription's last owner lets go of it. After that no further call of
    /// the sink starts. A field's present value comes as the first sample. `event_id` counts the interface's
    /// events from 0 in alphabetical order. Does not block. Throws Infrastructure_exception once the runtime
    /// has ended, Invalid_argument_exception if the deployment has no such event. Any thread.
    virtual std::shared_ptr<Service_finder::Subscription_handle> subscribe(
        unsigned short event_id, std::weak_ptr<Event_sink> sink) = 0;

    /// Whether the instance is available now, as far as the runtime knows: where it takes the deployment's
    /// word for that, the first call shows. Does not block. Any thread.
    virtual Client::Service_state service_state() const { return Client::Service_state::available; }

    /// Where the service is reached, for people: "tcp 127.0.0.1:30509" or "local".
    virtual std::string endpoint() const = 0;
};

}  // namespace eb::com::runtime
