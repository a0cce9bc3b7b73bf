// The ways to run a skeleton's method calls.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <ac/com/Strand.h>
#include <ac/com/Thread_pool_view.h>
#include <ac/com/cpp_binding/skeleton/Method_processor.h>

namespace ac::com::cpp_binding::skeleton::detail {

/// Runs calls through a dispatcher of the pool. A drained dispatcher takes nothing any more, so each wait
/// puts a fresh one in its place. Owned by the runtime's method dispatcher; any thread. Destruction waits for
/// the calls, except from inside one of them.
template <class Dispatcher>
class Pool_method_processor : public Method_processor {
public:
    explicit Pool_method_processor(static_thread_pool& pool);
    void post(std::function<void()>&& call) override;
    void wait() override;

private:
    using Dispatchers = std::vector<std::shared_ptr<Dispatcher>>;

    static_thread_pool& m_pool;
    std::mutex m_mutex;
    std::shared_ptr<Dispatcher> m_current;  // guarded by m_mutex
    Dispatchers m_draining;                 // guarded by m_mutex; replaced, and not yet known to be drained
};

/// Side by side on the pool's threads.
class Parallel_method_processor final : public Pool_method_processor<Thread_pool_view> {
    using Pool_method_processor::Pool_method_processor;
};

/// One at a time, in order of arrival.
class Sequential_method_processor final : public Pool_method_processor<Strand> {
    using Pool_method_processor::Pool_method_processor;
};

/// Takes no calls: what is posted is dropped.
class Noop_method_processor final : public Method_processor {
public:
    void post(std::function<void()>&&) override {}
    void wait() override {}
};

/// Processing modes of a skeleton. Any other value takes no calls.
enum class Processing_mode : unsigned char { parallel = 1, sequential = 2 };

std::unique_ptr<Method_processor> make_method_processor(Processing_mode mode, static_thread_pool& pool);

/// The mode in words: "parallel", "sequential" or "none".
char const* text(Processing_mode mode) noexcept;

}  // namespace ac::com::cpp_binding::skeleton::detail
