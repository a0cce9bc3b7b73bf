#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/proxy/Event_cache.h"
#include "binding/proxy/Proxy_impl.h"
#include "codec/diagnostics.h"
#include "core/Trace.h"
#include "registry/DiagAraService.h"
#include "registry/Runnable.h"

namespace zvg::val::diag_ara::services {

namespace incidents = ac::com::cpp_binding::log::incidents;

/// A component that is the client of one platform service: finds it, makes the proxy when it is offered, lets
/// go of it when it is lost, and tells the bridge of both.
///
///     Created   --start-->  Searching  --found-->  Bound      m_proxy is set; then run(), again each time
///                               ^---------lost-------'
///
/// m_proxy alone says whether the service is there. It is set and reset on the search's strand. Everybody
/// else takes a share of it: the proxy lives on until the last call through it has returned. At the loss of
/// the service all its open calls end at once, so that is soon.
///
/// Owned by the registry. The derived class's destructor stops the search (stopFindService) before anything
/// goes that the search or run() uses; this destructor frees what is left. The derived class has
/// `endSubscriptions(Proxy&)`, which ends the subscriptions that run() began: no handler runs afterwards.
template <class Proxy, class Handle, class Derived>
class BaseListener : public Runnable {
    static_assert(std::is_same_v<Handle, typename Proxy::Handle_type>);

public:
    void init(std::string name) override = 0;

    /// Begins the search, for any instance. Offers are told from then on, on the search's strand.
    void start() override {
        out(level::INFO, TRACE_HERE, "");
        DiagAraService::getInstance()->resetServiceAvailability();
        Search search{Binding::start_find_service(
            [this](std::vector<Handle> const& handles) { serviceAvailabilityCallback(handles); },
            {ANY_INSTANCE}, incidentLog())};
        incidentLog().trace([&] { return incidents::Find_service_start{{searchRecord()}}; }, search.number());
        m_findHandle = std::make_unique<Search>(search);
        out(level::DETAIL, TRACE_HERE, "StartFindService called with instanceId: ", m_instanceName.c_str());
    }

    /// The service was found. On the search's strand.
    virtual void run() = 0;

protected:
    BaseListener(std::string instanceName, tVALNetworkServicesDiagAra serviceId, bool serviceUnset)
        : m_instanceName(std::move(instanceName)), m_serviceId(serviceId), m_serviceUnset(serviceUnset) {}

    /// A share of the proxy; null while the service isn't there. Any thread.
    std::shared_ptr<Proxy> proxy() const {
        std::lock_guard const lock(m_proxyMutex);
        return m_proxy;
    }

    /// Takes the list of what is offered now. On the search's strand, one call at a time.
    void serviceAvailabilityCallback(std::vector<Handle> const& handles) {
        out(level::INFO, TRACE_HERE, "");
        bool const bound = proxy() != nullptr;
        if (handles.empty()) {
            if (!bound) {
                out(level::INFO, TRACE_HERE, "Service still unavailable");
                return;
            }
            out(level::INFO, TRACE_HERE, "Service lost");
            unbind();
            tellAvailability(__func__, false);
            return;
        }
        if (bound) {
            out(level::INFO, TRACE_HERE, "Service handler already registered");
            return;
        }
        out(level::INFO, TRACE_HERE, "Registering service handler");
        bind(handles.front());
        tellAvailability(__func__, true);
        run();
    }

    /// Attaches `callback` to a field of the service: it gets every new value, on the event's strand. Then
    /// subscribes. From run() only.
    template <class Field, class Data>
    void InitializeField(Field* field, std::string (*printer)(Data const&),
                         eValStatus (Derived::*callback)(Data const&), std::string const& fieldName,
                         ac::com::cpp_binding::proxy::Event_cache_update_policy policy,
                         unsigned long cacheSize, bool) {
        setCallback(field, printer, callback);
        out(level::DETAIL, TRACE_HERE, fieldName.c_str(), ".Subscribe()");
        incidentLog().trace([&] { return incidents::Field_subscribe{{boundRecord()}}; });
        field->subscribe(cacheSize, policy);
    }

    /// What the incident of the field's end tells.
    void tellUnsubscribe() const {
        incidentLog().trace([&] { return incidents::Field_unsubscribe{{boundRecord()}}; });
    }

    /// Ends the search, if it has begun. The callback neither runs nor starts afterwards.
    void stopFindService() {
        if (!m_findHandle) return;
        incidentLog().trace([&] { return incidents::Find_service_stop{{searchRecord()}}; },
                            m_findHandle->number());
        m_findHandle->handle.stop();
        m_findHandle.reset();
        out(level::INFO, TRACE_HERE, "StopFindService");
    }

    template <class... Args>
    void out(eLogLevel level, Args... args) const {
        Trace::out(level, m_name.c_str(), args...);
    }

    std::string m_name;  // set by init, before any other thread comes

private:
    using Service = typename Proxy::Service_type;
    using Binding = ac::com::cpp_binding::proxy::Proxy_impl<Service>;

    /// The search under way.
    struct Search {
        ac::com::cpp_binding::Find_service_handle handle;
        ac::com::cpp_binding::log::Search_number number() const noexcept { return {handle.number()}; }
    };

    static ac::com::log::target::Dlt incidentLog() { return ac::com::cpp_binding::log::binding_log(); }

    ac::com::cpp_binding::log::Instance_record searchRecord() const {
        return {{std::string(Service::NAME)}, {ANY_INSTANCE}};
    }
    ac::com::cpp_binding::log::Instance_record boundRecord() const {
        std::lock_guard const lock(m_proxyMutex);
        return {{std::string(Service::NAME)}, m_boundInstance};
    }

    template <class Field, class Data>
    void setCallback(Field* field, std::string (*printer)(Data const&),
                     eValStatus (Derived::*callback)(Data const&)) {
        // The handler has no share of the proxy: it would keep it for ever. The field waits for it to end.
        field->setReceiveHandler([this, field, printer, callback] {
            if (stop()) return;
            field->update([this, printer, callback](Data const& sample) {
                std::string const text = printer(sample);
                for (char const* const function : {"setCallback", "operator()"}) {  // a line under each name
                    out(level::DETAIL, __LINE__, "::", function, "() ", "data sample: ", text.c_str());
                }
                (static_cast<Derived*>(this)->*callback)(sample);
                return true;
            });
        });
    }

    void bind(Handle const& handle) {
        auto proxy = std::make_shared<Proxy>(handle);
        std::lock_guard const lock(m_proxyMutex);
        m_proxy = std::move(proxy);
        m_boundInstance = handle.service_handle().instance;
    }

    /// Lets go of the proxy, and ends what is open through it, so that those who have a share soon return.
    void unbind() {
        std::shared_ptr<Proxy> lost;
        {
            std::lock_guard const lock(m_proxyMutex);
            lost.swap(m_proxy);
        }
        lost->abort();
        static_cast<Derived*>(this)->endSubscriptions(*lost);
    }

    void tellAvailability(char const* function, bool available) {
        if (m_serviceUnset) {
            out(level::ERROR, __LINE__, "::", function, "() ",
                "Error Service not set can not call serviceAvailable.");
            return;
        }
        DiagAraService::getInstance()->setServiceAvailability(m_serviceId, available);
    }

    static constexpr char const* ANY_INSTANCE = "*";

    mutable std::mutex m_proxyMutex;  // held for the exchange of the pointer, never over a call through it
    std::shared_ptr<Proxy> m_proxy;   // guarded by m_proxyMutex
    eb::com::runtime::Instance_id m_boundInstance;  // guarded by m_proxyMutex
    std::unique_ptr<Search> m_findHandle;           // of the thread that starts and destroys this
    std::string const m_instanceName;
    tVALNetworkServicesDiagAra const m_serviceId;
    bool const m_serviceUnset;
};

}  // namespace zvg::val::diag_ara::services
