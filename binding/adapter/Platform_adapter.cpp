#include "binding/adapter/Platform_adapter.h"

#include <exception>
#include <utility>

namespace ac::com::cpp_binding::adapter {

using eb::com::runtime::Client_port;
using eb::com::runtime::Serialized_payload;

static_thread_pool& pool(runtime::Thread_pool_factory& factory, unsigned int pool_class) {
    return factory.get(pool_class);
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

void send_event(skeleton::Pport& port, unsigned short event_id, Serialized_payload const& payload) {
    port.send_event(event_id, payload);
}

std::shared_ptr<Client_port> client_port(proxy::Rport const& port) {
    return port.client_port();
}

bool is_available(Client_port const& port) {
    return port.service_state() == eb::com::runtime::Client::Service_state::available;
}

std::string endpoint(Client_port const& port) {
    return port.endpoint();
}

Sent_call call(Client_port& port, unsigned short method_id, Serialized_payload request, Answer answer) {
    auto const shared = std::make_shared<Answer const>(std::move(answer));
    auto sent =
        port.call(method_id, std::move(request), [shared](unsigned char code, Serialized_payload reply) {
            (*shared)({Call_outcome::answered, code, std::move(reply), {}});
        });
    return sent.then([shared](Sent_call begun) {
        try {
            auto call = begun.get();
            call->on_failure([shared](Call_result const& failure) { (*shared)(failure); });
            return call;
        } catch (std::exception const& failure) {  // it could not even begin
            (*shared)({Call_outcome::transport, 0, {}, failure.what()});
            throw;
        }
    });
}

void cancel(Sent_call call) {
    if (call.valid()) {
        call.then([](Sent_call begun) { begun.get()->cancel(); });
    }
}

void close(proxy::Event_base& event) noexcept {
    event.close();
}

void rebind(proxy::Event_base& event, std::shared_ptr<Client_port> port) {
    event.rebind(std::move(port));
}

}  // namespace ac::com::cpp_binding::adapter
