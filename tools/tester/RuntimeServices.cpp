#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/runtime/Component_singleton.h>
#include <eb/com/runtime/Service_finder.h>

#include "platform/report/Runtime_report.h"
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
    bool told = false;  // guarded by mutex, as what follows
    bool any = false;
};

class RuntimeServices final : public Services {
public:
    Reached port(Wanted const& wanted) override {
        try {
            Service_handle const handle = handleOf(wanted);
            auto port = m_ports.find(handle);
            if (port == m_ports.end()) {
                auto made = std::make_unique<Rport>(handle, Service_interface_description{wanted.version});
                port = m_ports.emplace(handle, std::move(made)).first;
            }
            return {port->second->client_port(), {}};
        } catch (ac::com::Invalid_argument_exception const& unknown) {
            return {{}, unknown.what()};
        }
    }

    using Services::reach;
    Reached reach(Wanted const& wanted, milliseconds limit, std::stop_token const& stop) override {
        // The port knows at once whether the service is deployed at all, which a search can't tell.
        Reached reached = port(wanted);
        if (reached.port && !found(handleOf(wanted), limit, stop)) {
            return {{},
                    "no instance " + wanted.instance + " of the service was found in time (--wait)" +
                        whereLooked()};
        }
        return reached;
    }

    std::vector<std::string> rivals(Wanted const& wanted) override {
        for (auto const& instance : eb::com::runtime::report().instances)
            if (instance.service.value == wanted.service && instance.instance.value == wanted.instance)
                return instance.also_offered_by;
        return {};
    }

private:
    static Service_handle handleOf(Wanted const& wanted) {
        return {Service_id{wanted.service}, Instance_id{wanted.instance}};
    }

    static std::string whereLooked() {
        std::string const address = eb::com::runtime::report().sd_address;
        return address.empty() ? std::string() : " by discovery at " + address;
    }

    static bool found(Service_handle const& wanted, milliseconds limit, std::stop_token const& stop) {
        constexpr milliseconds FIRST_WORD{1000};  // comes at once; bounded, should the runtime be busy
        auto const findings = std::make_shared<Findings>();
        auto const search = Component_singleton::get_service_finder().subscribe(
            wanted.service, wanted.instance, [findings](std::vector<Service_handle> const& handles) {
                std::lock_guard const lock(findings->mutex);
                findings->told = true;
                findings->any = !handles.empty();
                findings->changed.notify_all();
            });
        std::unique_lock lock(findings->mutex);
        if (findings->changed.wait_for(lock, stop, limit, [&] { return findings->any; })) return true;
        findings->changed.wait_for(lock, stop, FIRST_WORD, [&] { return findings->told; });
        return findings->any;
    }

    Component_singleton m_runtime{false, "tester"};
    std::map<Service_handle, std::unique_ptr<Rport>> m_ports;  // ends before the runtime does
};

}  // namespace

std::unique_ptr<Services> runtimeServices() {
    return std::make_unique<RuntimeServices>();
}

}  // namespace tester
