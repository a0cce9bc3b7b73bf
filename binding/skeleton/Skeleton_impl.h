#pragma once

#include <memory>
#include <string>
#include <utility>

#include <ac/com/cpp_binding/skeleton/Field_handler.h>
#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/skeleton/Method_processors.h"
#include "binding/task/Shared_pool.h"

namespace ac::com::cpp_binding::skeleton {

/// One instance of a service on the runtime: its port, and the dispatcher that brings calls to its methods.
///
/// Owned by the skeleton; offered and withdrawn by the service's owner, on one thread at a time. Construction
/// throws Invalid_argument_exception for an instance that isn't deployed. Destruction stops calls and offer.
template <class Service>
class Skeleton_impl {
public:
    Skeleton_impl(std::string instanceId, unsigned char processingMode)
        : m_port(eb::com::runtime::Service_id{std::string(Service::NAME)},
                 eb::com::runtime::Instance_id{std::move(instanceId)},
                 eb::com::runtime::Service_interface_description{Service::DESCRIPTION}) {
        auto const mode = static_cast<detail::Processing_mode>(processingMode);
        m_dispatcher =
            std::make_shared<Method_dispatcher>(m_port, detail::make_method_processor(mode, shared_pool()));
        log::binding_log().trace(log::incidents::Service_skeleton_constructed{
            {record(), eb::com::runtime::Service_interface_description{Service::DESCRIPTION},
             detail::text(mode)}});
    }
    Skeleton_impl(Skeleton_impl const&) = delete;
    Skeleton_impl& operator=(Skeleton_impl const&) = delete;

    /// Takes calls, and then makes the service known.
    void offer() {
        m_fields.run_offer_cond_checks();
        m_dispatcher->start();
        m_port.start_offer();
        log::binding_log().trace(log::incidents::Offer_service{{record()}});
    }

    /// The reverse: no call is taken or running afterwards, except the caller's own.
    void stop_offer() {
        m_port.stop_offer();
        m_dispatcher->stop();
        log::binding_log().trace(log::incidents::Stop_offer_service{{record()}});
    }

    Method_dispatcher& dispatcher() const noexcept { return *m_dispatcher; }
    Pport& port() noexcept { return m_port; }

private:
    log::Instance_record record() const { return {m_port.service_id(), m_port.instance_id()}; }

    Pport m_port;
    Field_handler m_fields;
    std::shared_ptr<Method_dispatcher> m_dispatcher;
};

}  // namespace ac::com::cpp_binding::skeleton
