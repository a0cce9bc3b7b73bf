// What the binding needs of the platform beyond the operations that docs/integration.md lists with their
// names.
//
// On another platform this header and its source are what an integrator adapts, and nothing else: everything
// that stands here may be called, declared or done differently there.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/proxy/Event_base.h>
#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>
#include <ac/com/runtime/Component_singleton.h>
#include <eb/com/Future.h>
#include <eb/com/runtime/Client_port.h>
#include <eb/com/runtime/Service_finder.h>

namespace ac::com::cpp_binding::adapter {

// ---- The pool and the finder of the runtime

/// The factory's operation: the pool of that class.
static_thread_pool& pool(runtime::Thread_pool_factory& factory, unsigned int pool_class);

/// The finder's operation: has `found` called with the whole list of instances, now and whenever it changes,
/// on a runtime thread, until the handle's last owner lets go of it.
using Found = std::function<void(std::vector<eb::com::runtime::Service_handle> const&)>;
std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> subscribe(
    eb::com::runtime::Service_finder& finder, eb::com::runtime::Service_id const& service,
    eb::com::runtime::Instance_id const& instance, Found found);

// ---- A provided port

eb::com::runtime::Service_id const& service_id(skeleton::Pport const& port) noexcept;
eb::com::runtime::Instance_id const& instance_id(skeleton::Pport const& port) noexcept;

/// The port that a dispatcher was made with.
skeleton::Pport& port_of(skeleton::Method_dispatcher const& dispatcher) noexcept;

/// Sends an event to everybody who is subscribed; never blocks.
void send_event(skeleton::Pport& port, unsigned short event_id,
                eb::com::runtime::Serialized_payload const& payload);

// ---- A required port

std::shared_ptr<eb::com::runtime::Client_port> client_port(proxy::Rport const& port);

/// Whether the instance is there, as far as the runtime knows. Asked before each call; does not block.
bool is_available(eb::com::runtime::Client_port const& port);

/// Where the service is reached, for a log line.
std::string endpoint(eb::com::runtime::Client_port const& port);

/// How a call ended on its way: answered, or not, and why not.
using Call_outcome = eb::com::runtime::Call_outcome;
/// Outcome, return code and payload; `detail` says more where the outcome isn't `answered`.
using Call_result = eb::com::runtime::Call_result;
/// Runs once for each call, on a runtime thread, without any lock.
using Answer = std::function<void(Call_result const&)>;
/// A call on its way. Dropping it does not end the call.
using Sent_call = eb::com::Future<std::shared_ptr<eb::com::runtime::Method_call>>;

/// Sends a request: joins the platform's reply function and what it reports of a call that gets no reply into
/// one answer. Throws what the port throws; then there is no answer.
Sent_call call(eb::com::runtime::Client_port& port, unsigned short method_id,
               eb::com::runtime::Serialized_payload request, Answer answer);

/// Gives a call up, as soon as it is under way; a late answer is dropped. An invalid future is none.
void cancel(Sent_call call);

// ---- An event

/// Ends the event's subscription for good. No sample arrives afterwards. For destructors of derived classes,
/// which are gone when Event_base's own runs.
void close(proxy::Event_base& event) noexcept;

/// Moves the event's subscription to another port of the same instance. Subscribers stay.
void rebind(proxy::Event_base& event, std::shared_ptr<eb::com::runtime::Client_port> port);

}  // namespace ac::com::cpp_binding::adapter
