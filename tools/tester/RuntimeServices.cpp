#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/runtime/Component_singleton.h>
#include <eb/com/runtime/Service_finder.h>

#include "tools/tester/Services.h"

namespace tester {

namespace {

using ac::com::cpp_binding::proxy::Rport;
using ac::com::runtime::Component_singleton;
using eb::com::runtime::Instance_id;
using eb::com::runtime::Service_handle;
using eb::com::runtime::Service_id;
using eb::com::runtime::Service_interface_description;

/// What a search has found. Shared with the search, which may report while its owner leaves.
struct Findings {
    std::mutex mutex;
    std::condition_variable_any changed;
    bool any = false;  // guarded by mutex
};

class RuntimeServices final : public Services {
public:
    Reached reach(std::string const& service, std::uint32_t version, milliseconds limit,
                  std::stop_token const& stop) override {
        try {
            auto port = m_ports.find(service);
            if (port == m_ports.end()) {
                // The port knows at once whether the service is deployed at all, which a search can't tell.
                Service_handle const handle{Service_id{service}, Instance_id{INSTANCE}};
                auto made = std::make_unique<Rport>(handle, Service_interface_description{version});
                if (!found(handle, limit, stop)) {
                    return {{},
                            "no instance " + handle.instance.value + " of the service was found within " +
                                std::to_string(limit.count()) + " ms"};
                }
                port = m_ports.emplace(service, std::move(made)).first;
            }
            return {port->second->client_port(), {}};
        } catch (ac::com::Invalid_argument_exception const& unknown) {
            return {{}, unknown.what()};
        }
    }

private:
    static bool found(Service_handle const& wanted, milliseconds limit, std::stop_token const& stop) {
        auto const findings = std::make_shared<Findings>();
        auto const search = Component_singleton::get_service_finder().subscribe(
            wanted.service, wanted.instance, [findings](std::vector<Service_handle> const& handles) {
                std::lock_guard const lock(findings->mutex);
                findings->any = !handles.empty();
                findings->changed.notify_all();
            });
        std::unique_lock lock(findings->mutex);
        return findings->changed.wait_for(lock, stop, limit, [&] { return findings->any; });
    }

    Component_singleton m_runtime{false, "tester"};
    std::map<std::string, std::unique_ptr<Rport>> m_ports;  // ends before the runtime does
};

}  // namespace

std::unique_ptr<Services> runtimeServices() {
    return std::make_unique<RuntimeServices>();
}

}  // namespace tester
