#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "binding/proxy/Find_service.h"

namespace ac::com::cpp_binding::proxy {

/// Where the clients of a service begin: with a search for its instances.
template <class Service>
class Proxy_impl {
public:
    /// One found instance; the only thing that a proxy is made from. Equal handles stand for one instance.
    class Handle_type {
    public:
        explicit Handle_type(eb::com::runtime::Service_handle handle) noexcept
            : m_handle(std::move(handle)) {}
        eb::com::runtime::Service_handle const& service_handle() const noexcept { return m_handle; }
        bool operator==(Handle_type const&) const = default;

    private:
        eb::com::runtime::Service_handle m_handle;
    };

    using Handler = std::function<void(std::vector<Handle_type>)>;

    /// Tells `handler` which instances are offered: once soon after this returned, and whenever that changes.
    /// It runs on a strand of the shared pool, one call at a time, never on this thread. The instance "*"
    /// stands for any. Throws Infrastructure_exception if no runtime exists. Any thread.
    static Find_service_handle start_find_service(Handler handler,
                                                  eb::com::runtime::Instance_id const& instance,
                                                  ac::com::log::Generic_logger const& log) {
        return detail::start_find_service(
            {std::string(Service::NAME)}, instance,
            [handler = std::move(handler)](std::vector<eb::com::runtime::Service_handle> const& found) {
                handler(std::vector<Handle_type>(found.begin(), found.end()));
            },
            log);
    }

    /// A search as its handle.
    static Find_service_handle make_find_service_handle(
        std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>&& subscription,
        std::shared_ptr<Strand>&& strand) {
        return detail::make_find_service_handle(std::move(subscription), std::move(strand));
    }
};

}  // namespace ac::com::cpp_binding::proxy
