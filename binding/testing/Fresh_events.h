#pragma once

#include <mutex>

#include "binding/proxy/Event_impl.h"

namespace ac::com::cpp_binding::proxy {

struct Event_access {
    template <class E>
    static void forget() {
        std::lock_guard const lock(Event_impl<E>::m_evt_inst_mutex);
        Event_impl<E>::m_event_instances.clear();
    }
};

}  // namespace ac::com::cpp_binding::proxy

namespace binding_testing {

/// Lets a test begin as a process does: no event has a sample from the tests before. Stands before the
/// proxies.
template <class E>
struct Fresh_events {
    Fresh_events() { ac::com::cpp_binding::proxy::Event_access::forget<E>(); }
};

}  // namespace binding_testing
