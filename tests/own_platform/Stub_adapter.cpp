// How the product is joined to the stub platform: the one file that an integrator writes.
//
// The stub has none of the operations that the house's own platform has beyond the named ones, so each is
// done in another way here, or not at all.
#include <utility>

#include "Stub_factory.h"
#include "binding/adapter/Platform_adapter.h"

namespace ac::com::cpp_binding::adapter {

static_thread_pool& pool(runtime::Thread_pool_factory& factory, unsigned int /*pool_class*/) {
    return *static_cast<own_platform::Stub_factory&>(factory).pool;
}

std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> subscribe(
    eb::com::runtime::Service_finder& finder, eb::com::runtime::Service_id const& service,
    eb::com::runtime::Instance_id const& instance, Found found) {
    return finder.subscribe(service, instance, std::move(found));
}

eb::com::runtime::Service_id const& service_id(skeleton::Pport const& port) noexcept {
    return port.service_id();
}

eb::com::runtime::Instance_id const& instance_id(skeleton::Pport const& port) noexcept {
    return port.instance_id();
}

skeleton::Pport& port_of(skeleton::Method_dispatcher const& dispatcher) noexcept {
    return dispatcher.port();
}

// This platform has no subscribers.
void send_event(skeleton::Pport&, unsigned short, eb::com::runtime::Serialized_payload const&) {}

std::shared_ptr<eb::com::runtime::Client_port> client_port(proxy::Rport const& port) {
    return port.client_port();
}

bool is_available(eb::com::runtime::Client_port const&) {
    return false;
}

std::string endpoint(eb::com::runtime::Client_port const& port) {
    return port.endpoint();
}

Sent_call call(eb::com::runtime::Client_port& port, unsigned short method_id,
               eb::com::runtime::Serialized_payload request, Answer answer) {
    return port.call(
        method_id, std::move(request),
        [answer = std::move(answer)](unsigned char code, eb::com::runtime::Serialized_payload reply) {
            answer({Call_outcome::answered, code, std::move(reply), {}});
        });
}

void cancel(Sent_call) {}

void close(proxy::Event_base&) noexcept {}

void rebind(proxy::Event_base&, std::shared_ptr<eb::com::runtime::Client_port>) {}

}  // namespace ac::com::cpp_binding::adapter
