#pragma once

#include "platform/com/runtime/Eventgroups.h"
#include "platform/com/runtime/Process_runtime.h"

namespace eb::com::runtime {

/// The eventgroups of what this process offers. Owned by the runtime. io thread.
class Process_runtime::Publisher : public Eventgroups {
public:
    explicit Publisher(Process_runtime& runtime) : m_runtime(runtime) {}

    Subscribe_result subscribe(Service_deployment const& service, std::uint16_t eventgroup,
                               Endpoint const& subscriber) override;
    void sendInitial(Service_deployment const& service, std::uint16_t eventgroup,
                     Endpoint const& subscriber) override;
    void unsubscribe(Service_deployment const& service, std::uint16_t eventgroup,
                     Endpoint const& subscriber) override;
    std::size_t subscribers(Service_deployment const& service, std::uint16_t eventgroup) const override;

    /// The connection of a subscriber at that endpoint has closed.
    void gone(Endpoint const& at, std::uint16_t service, std::uint16_t eventgroup, Address const& subscriber);

private:
    /// Where the service is offered; null if it isn't.
    someip::Server_endpoint* endpointOf(Service_deployment const& service) const;

    Process_runtime& m_runtime;
};

}  // namespace eb::com::runtime
