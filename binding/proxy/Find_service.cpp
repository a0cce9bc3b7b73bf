#include "binding/proxy/Find_service.h"

#include <atomic>
#include <nlohmann/json.hpp>
#include <utility>

#include <ac/com/Deadline_guard.h>
#include <ac/com/runtime/Component_singleton.h>

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/incidents.h"
#include "binding/proxy/Callout.h"
#include "binding/task/Shared_pool.h"

namespace ac::com::cpp_binding {
namespace log {

void to_json(nlohmann::json& json, Search_number const& search) {
    json["1_search"] = search.number;
}

namespace {

/// What a search found. Refers to it.
struct Found_instances {
    std::vector<eb::com::runtime::Service_handle> const& handles;
};

void to_json(nlohmann::json& json, Found_instances const& found) {
    nlohmann::json& list = json["1_found"] = nlohmann::json::array();
    for (auto const& handle : found.handles) {
        list.push_back(handle.instance);
    }
}

}  // namespace
}  // namespace log

namespace proxy::detail {
namespace {

namespace incidents = log::incidents;

/// What a result needs on its way to the user.
class Search {
public:
    Search(log::Instance_record who, Found_handler handler, ac::com::log::Generic_logger const& log)
        : m_record(std::move(who)), m_handler(std::move(handler)), m_log(log) {}

    Find_service_handle::Stopped const& stopped() const noexcept { return m_stopped; }

    void deliver(std::vector<eb::com::runtime::Service_handle> const& found) const {
        if (*m_stopped) {
            return;
        }
        m_log.trace([&] { return incidents::Find_service_result{m_record}; }, log::Found_instances{found});
        Deadline_guard const guard(FIND_HANDLER_LIMIT, [this](unsigned long time) {
            m_log.trace([&] { return incidents::Find_service_handler_performance{{m_record, time}}; });
        });
        apply_callout_with_on_exception(
            [&] { m_handler(found); },
            [this](std::exception_ptr const& thrown) {
                m_log.trace([&] { return incidents::Find_service_handler_exception{m_record}; },
                            [&] { return log::Failure_text{to_string(thrown)}; });
            });
    }

private:
    log::Instance_record const m_record;
    Found_handler const m_handler;
    ac::com::log::Generic_logger const m_log;
    Find_service_handle::Stopped const m_stopped = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace

Find_service_handle make_find_service_handle(
    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>&& subscription,
    std::shared_ptr<Strand>&& strand, Find_service_handle::Stopped stopped) {
    static std::atomic<unsigned> last{0};
    return {++last, std::move(subscription), std::move(strand), std::move(stopped)};
}

Find_service_handle start_find_service(eb::com::runtime::Service_id service,
                                       eb::com::runtime::Instance_id instance, Found_handler handler,
                                       ac::com::log::Generic_logger const& log) {
    auto strand = std::make_shared<Strand>(shared_pool());
    auto const search =
        std::make_shared<Search const>(log::Instance_record{service, instance}, std::move(handler), log);
    // Each task shares the strand: its last owner is then never a thread that would have to wait for a task.
    auto subscription =
        adapter::subscribe(runtime::Component_singleton::get_service_finder(), service, instance,
                           [strand, search](std::vector<eb::com::runtime::Service_handle> const& found) {
                               strand->post([strand, search, found] { search->deliver(found); });
                           });
    return make_find_service_handle(std::move(subscription), std::move(strand), search->stopped());
}

}  // namespace proxy::detail
}  // namespace ac::com::cpp_binding
