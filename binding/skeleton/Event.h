#pragma once

#include <exception>

#include <ac/com/cpp_binding/get_shared_payload.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/payload/Serializer.h"

namespace ara::com::internal::skeleton {

/// An event of a generated skeleton, whose samples are of the type E::Value.
/// Owned by the skeleton, whose port it refers to. Any thread.
template <class E>
class Event {
public:
    using Value = typename E::Value;

    /// `event_id` counts the interface's events from 0 in alphabetical order.
    Event(unsigned short event_id, ac::com::cpp_binding::skeleton::Pport& port) noexcept
        : m_event_id(event_id), m_port(port) {}

    /// Sends a sample to everybody who is subscribed; without a subscriber it is gone. Never blocks. A sample
    /// that couldn't be sent is told as an incident, and lost.
    void Send(Value const& value) {
        namespace binding = ac::com::cpp_binding;
        try {
            auto const payload =
                binding::get_shared_payload(ac::com::someip::serialization::size_estimate<Value>());
            ac::com::someip::serialization::Serializer(*payload).serialize(value);
            binding::adapter::send_event(m_port, m_event_id, eb::com::runtime::Serialized_payload(payload));
        } catch (std::exception const& failure) {
            binding::log::binding_log().trace(
                [&] {
                    return binding::log::incidents::Event_request_update_err{
                        {{binding::adapter::service_id(m_port), binding::adapter::instance_id(m_port)},
                         m_event_id}};
                },
                [&] { return binding::log::Failure_text{failure.what()}; });
            return;
        }
        binding::log::binding_log().trace(
            [&] { return binding::log::incidents::Event_update_tx{{m_event_id}}; },
            binding::log::Generated_data<Value>{value});
    }

private:
    unsigned short m_event_id;
    ac::com::cpp_binding::skeleton::Pport& m_port;
};

}  // namespace ara::com::internal::skeleton
