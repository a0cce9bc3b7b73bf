#include "binding/skeleton/Skeleton_impl.h"

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/skeleton/Method_processors.h"
#include "binding/task/Shared_pool.h"

namespace ac::com::cpp_binding::skeleton::detail {

namespace {

log::Instance_record record(Pport const& port) {
    return {adapter::service_id(port), adapter::instance_id(port)};
}

}  // namespace

std::shared_ptr<Method_dispatcher> make_dispatcher(
    Pport& port, eb::com::runtime::Service_interface_description const& description,
    unsigned char processingMode) {
    auto const mode = static_cast<Processing_mode>(processingMode);
    auto dispatcher = std::make_shared<Method_dispatcher>(port, make_method_processor(mode, shared_pool()));
    log::binding_log().trace([&] {
        return log::incidents::Service_skeleton_constructed{{record(port), description, text(mode)}};
    });
    return dispatcher;
}

void offer(Pport& port, Field_handler const& fields, Method_dispatcher& dispatcher) {
    fields.run_offer_cond_checks();
    dispatcher.start();
    port.start_offer();
    log::binding_log().trace([&] { return log::incidents::Offer_service{{record(port)}}; });
}

void stop_offer(Pport& port, Method_dispatcher& dispatcher) {
    port.stop_offer();
    dispatcher.stop();
    log::binding_log().trace([&] { return log::incidents::Stop_offer_service{{record(port)}}; });
}

}  // namespace ac::com::cpp_binding::skeleton::detail
