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

/// Where all proxies of one instance find their common event. It lives as long as one of them holds it.
class Event_ptr_base {
public:
    bool expired() const noexcept { return m_event.expired(); }

protected:
    Event_ptr_base() = default;
    explicit Event_ptr_base(std::weak_ptr<Event_samples> event) noexcept : m_event(std::move(event)) {}

    std::weak_ptr<Event_samples> m_event;
};

template <class E>
class Event_ptr : public Event_ptr_base {
public:
    Event_ptr() = default;
    explicit Event_ptr(std::shared_ptr<Event<E>> const& event) noexcept : Event_ptr_base(event) {}

    /// The event; null once its last proxy has gone.
    std::shared_ptr<Event<E>> lock() const { return std::static_pointer_cast<Event<E>>(m_event.lock()); }
};

}  // namespace ac::com::cpp_binding::proxy
