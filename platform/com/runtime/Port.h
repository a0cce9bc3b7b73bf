#pragma once

#include "platform/com/runtime/Process_runtime.h"

namespace eb::com::runtime {

/// The client's side of one instance. Its calls end with it; its subscriptions belong to those who hold them.
/// Any thread.
class Process_runtime::Port : public Client_port {
public:
    Port(std::shared_ptr<Process_runtime> runtime, Service_deployment const& service)
        : m_runtime(std::move(runtime)),
          m_service(service),
          m_wanted(m_runtime->m_directory->want(service)) {}
    ~Port() override { m_runtime->m_calls->endAll(this, "the port has gone"); }
    Port(Port const&) = delete;
    Port& operator=(Port const&) = delete;

    Future<std::shared_ptr<Method_call>> call(unsigned short method, Serialized_payload request,
                                              Reply reply) override;
    std::shared_ptr<Service_finder::Subscription_handle> subscribe(unsigned short event,
                                                                   std::weak_ptr<Event_sink> sink) override;
    Client::Service_state service_state() const override;
    std::string endpoint() const override;

private:
    class Subscription;

    std::shared_ptr<Process_runtime> const m_runtime;
    Service_deployment const& m_service;  // the runtime's
    std::shared_ptr<void> const m_wanted;
};

}  // namespace eb::com::runtime
