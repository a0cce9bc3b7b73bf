#include "platform/report/Runtime_report.h"

#include <utility>

#include <ac/com/Exceptions.h>

#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/runtime/Publisher.h"

namespace eb::com::runtime {
namespace {

char const* textOf(Event_state state) {
    switch (state) {
        case Event_state::pending:
            return "pending";
        case Event_state::subscribed:
            return "subscribed";
        case Event_state::not_subscribed:
            break;
    }
    return "";
}

}  // namespace

Runtime_report Process_runtime::report() {
    Runtime_report report;
    report.manifest = m_deployment.origin;
    bool const told = m_loop->run([&] {
        for (Service_deployment const& service : m_deployment.services) {
            Instance_report& instance = report.instances.emplace_back();
            instance.service = service.interface;
            instance.instance = service.instance;
            instance.service_id = service.serviceId;
            instance.instance_id = service.instanceId;
            instance.deployed = service.endpoint.text();
            instance.offered = offerOf(service) != nullptr;
            for (Event_deployment const& event : service.events) {
                auto const subscribers = m_publisher->subscribers(service, event.eventgroup);
                auto const state = m_subscriptions->state(service, event.eventgroup);
                instance.events.push_back({event.name, event.id, event.eventgroup,
                                           static_cast<unsigned>(subscribers), state ? textOf(*state) : ""});
            }
        }
        m_directory->report(report);
    });
    if (!told) throw ac::com::Infrastructure_exception("the communication runtime has ended");
    return report;
}

Runtime_report report() {
    return currentRuntime()->report();
}

std::shared_ptr<Service_finder::Subscription_handle> watch(
    std::function<void(Runtime_notice const&)> notice) {
    return currentRuntime()->notices().watch(std::move(notice));
}

}  // namespace eb::com::runtime
