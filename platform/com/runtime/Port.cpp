#include "platform/com/runtime/Port.h"

#include <string>
#include <utility>

#include <ac/com/Exceptions.h>

namespace eb::com::runtime {
namespace {

[[noreturn]] void refuseEnded() {
    throw ac::com::Infrastructure_exception("the communication runtime has ended");
}

}  // namespace

class Process_runtime::Port::Subscription : public Service_finder::Subscription_handle {
public:
    Subscription(std::shared_ptr<Process_runtime> runtime, Service_deployment const& service,
                 std::shared_ptr<Sink_queue> sink)
        : m_runtime(std::move(runtime)), m_service(service), m_sink(std::move(sink)) {}
    ~Subscription() override {
        m_sink->end();
        m_runtime->m_loop->post([runtime = m_runtime, &service = m_service, sink = m_sink] {
            runtime->m_subscriptions->remove(service, sink);
        });
    }

private:
    std::shared_ptr<Process_runtime> const m_runtime;
    Service_deployment const& m_service;  // the runtime's
    std::shared_ptr<Sink_queue> const m_sink;
};

Future<std::shared_ptr<Method_call>> Process_runtime::Port::call(unsigned short method,
                                                                 Serialized_payload request, Reply reply) {
    auto call = m_runtime->m_calls->add(this, std::move(reply));
    if (!call) refuseEnded();
    Promise<std::shared_ptr<Method_call>> begun;
    begun.set_value(call);
    m_runtime->m_loop->post(
        [runtime = m_runtime, &service = m_service, call, method, request = std::move(request)] {
            runtime->send(call, service, method, request);
        });
    return begun.get_future();
}

std::shared_ptr<Service_finder::Subscription_handle> Process_runtime::Port::subscribe(
    unsigned short event, std::weak_ptr<Event_sink> sink) {
    Deployment const& table = m_runtime->m_deployment;
    if (event >= m_service.events.size())
        throw ac::com::Invalid_argument_exception(table.origin + ": " + m_service.interface.value +
                                                  " has no event " + std::to_string(event));
    auto const queue =
        std::make_shared<Sink_queue>(m_runtime->m_answers, std::move(sink), table.limits.sendQueueBytes);
    auto handle = std::make_shared<Subscription>(m_runtime, m_service, queue);
    if (!m_runtime->m_loop->post([runtime = m_runtime, &service = m_service, event, queue] {
            runtime->m_subscriptions->add(service, event, queue);
        }))
        refuseEnded();
    return handle;
}

Client::Service_state Process_runtime::Port::service_state() const {
    return m_runtime->m_directory->isOffered(m_service) ? Client::Service_state::available
                                                        : Client::Service_state::unavailable;
}

std::string Process_runtime::Port::endpoint() const {
    bool local = false;
    std::optional<Endpoint> endpoint;
    m_runtime->m_loop->run([&] {
        local = m_runtime->offerOf(m_service) != nullptr;
        endpoint = m_runtime->m_directory->locate(m_service);
    });
    if (local) return "local";
    return endpoint ? endpoint->text() : "nowhere";
}

}  // namespace eb::com::runtime
