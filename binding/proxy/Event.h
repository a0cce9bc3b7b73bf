#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "binding/adapter/Platform_adapter.h"
#include "binding/payload/Deserializer.h"
#include "binding/proxy/Event_samples.h"
#include "binding/proxy/Method_impl.h"

namespace ac::com::cpp_binding::proxy {

/// An event of one service instance: turns payloads into samples of its type.
template <class E>
class Event final : public Event_samples {
public:
    Event(unsigned short event_id, eb::com::runtime::Service_handle const& info,
          std::shared_ptr<eb::com::runtime::Client_port> const& port)
        : Event_samples(event_id, info, port) {}
    ~Event() override { adapter::close(*this); }

private:
    Sample read(std::vector<unsigned char> const& bytes) const override {
        return std::make_shared<typename E::Value const>(
            someip::serialization::from_bytes<typename E::Value>(bytes, properties_of<E>()));
    }
};

/// The untyped half of an Event_ptr.
class Event_ptr_base {
protected:
    Event_ptr_base() = default;
    explicit Event_ptr_base(std::shared_ptr<Event_samples> event) noexcept : m_event(std::move(event)) {}

    std::shared_ptr<Event_samples> m_event;
};

/// Where all proxies of one instance find their common event. An owner of it, so that the event stays with
/// its newest sample while there is no proxy.
template <class E>
class Event_ptr : public Event_ptr_base {
public:
    Event_ptr() = default;
    explicit Event_ptr(std::shared_ptr<Event<E>> event) noexcept : Event_ptr_base(std::move(event)) {}

    /// A share of the event; null if no proxy of the instance has been made yet.
    std::shared_ptr<Event<E>> lock() const { return std::static_pointer_cast<Event<E>>(m_event); }
};

}  // namespace ac::com::cpp_binding::proxy
