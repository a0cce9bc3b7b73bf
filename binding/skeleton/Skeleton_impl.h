#pragma once

#include <memory>
#include <string>
#include <utility>

#include <ac/com/cpp_binding/skeleton/Field_handler.h>
#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

namespace ac::com::cpp_binding::skeleton {

namespace detail {

/// What brings a port's calls to its methods in that mode. Tells that the skeleton has been made.
std::shared_ptr<Method_dispatcher> make_dispatcher(
    Pport& port, eb::com::runtime::Service_interface_description const& description,
    unsigned char processingMode);

void offer(Pport& port, Field_handler const& fields, Method_dispatcher& dispatcher);
void stop_offer(Pport& port, Method_dispatcher& dispatcher);

}  // namespace detail

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
                 eb::com::runtime::Service_interface_description{Service::DESCRIPTION}),
          m_dispatcher(detail::make_dispatcher(
              m_port, eb::com::runtime::Service_interface_description{Service::DESCRIPTION},
              processingMode)) {}
    Skeleton_impl(Skeleton_impl const&) = delete;
    Skeleton_impl& operator=(Skeleton_impl const&) = delete;

    /// Takes calls, and then makes the service known.
    void offer() { detail::offer(m_port, m_fields, *m_dispatcher); }

    /// The reverse: no call is taken or running afterwards, except the caller's own.
    void stop_offer() { detail::stop_offer(m_port, *m_dispatcher); }

    Method_dispatcher& dispatcher() const noexcept { return *m_dispatcher; }
    Pport& port() noexcept { return m_port; }

private:
    Pport m_port;
    Field_handler m_fields;
    std::shared_ptr<Method_dispatcher> m_dispatcher;
};

}  // namespace ac::com::cpp_binding::skeleton
