#include "binding/skeleton/Method_processors.h"

#include <algorithm>
#include <utility>

namespace ac::com::cpp_binding::skeleton::detail {

template <class Dispatcher>
Pool_method_processor<Dispatcher>::Pool_method_processor(static_thread_pool& pool)
    : m_pool(pool), m_current(std::make_shared<Dispatcher>(pool)) {}

template <class Dispatcher>
void Pool_method_processor<Dispatcher>::post(std::function<void()>&& call) {
    // Posted with the lock held, so that a wait that begins later waits for this call too.
    std::lock_guard const lock(m_mutex);
    m_current->post(std::move(call));
}

template <class Dispatcher>
void Pool_method_processor<Dispatcher>::wait() {
    auto fresh = std::make_shared<Dispatcher>(m_pool);
    Dispatchers draining;
    {
        std::lock_guard const lock(m_mutex);
        m_draining.push_back(m_current);
        m_current.swap(fresh);
        draining = m_draining;
    }
    if (std::ranges::any_of(draining, [](auto const& one) { return one->running_in_this_thread(); })) {
        return;  // the caller is one of the calls; whoever waits next waits for them all
    }
    for (auto const& dispatcher : draining) {
        dispatcher->internal_wait();
    }
    std::lock_guard const lock(m_mutex);
    std::erase_if(m_draining,
                  [&](auto const& one) { return std::ranges::find(draining, one) != draining.end(); });
}

template class Pool_method_processor<Thread_pool_view>;
template class Pool_method_processor<Strand>;

std::unique_ptr<Method_processor> make_method_processor(Processing_mode mode, static_thread_pool& pool) {
    switch (mode) {
        case Processing_mode::parallel:
            return std::make_unique<Parallel_method_processor>(pool);
        case Processing_mode::sequential:
            return std::make_unique<Sequential_method_processor>(pool);
        default:
            return std::make_unique<Noop_method_processor>();
    }
}

char const* text(Processing_mode mode) noexcept {
    switch (mode) {
        case Processing_mode::parallel:
            return "parallel";
        case Processing_mode::sequential:
            return "sequential";
        default:
            return "none";
    }
}

}  // namespace ac::com::cpp_binding::skeleton::detail
