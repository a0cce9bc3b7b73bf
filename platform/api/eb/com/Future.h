// A future and its promise: each names the other, so they stand together.
#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include <eb/com/Future_state.h>

namespace eb::com {

/// The result of a call that may still be under way: the standard's future with a continuation.
///
/// Owned by whoever waits for the result and used by one thread at a time; its promise may be on another.
/// Destruction drops a continuation that is still kept for it, and then runs the hook for futures that go.
/// Dropping the future that `then` returned leaves the continuation itself alone.
///
///     skeleton.Read(meta).then([reply](eb::com::Future<Output> result) { reply(result.get()); });
template <class T>
class Future {
public:
    /// A future without a result to come.
    Future() = default;
    Future(Future&& other) noexcept = default;
    Future& operator=(Future&& other) noexcept {
        Future(std::move(other)).swap(*this);
        return *this;
    }
    ~Future();

    void swap(Future& other) noexcept {
        std::swap(m_future, other.m_future);
        m_state.swap(other.m_state);
    }

    /// Waits for the result and gives it away, or throws what the promise was given. Once only.
    T get() { return m_future.get(); }

    /// Whether a result can be had here: false after get, then, and a move.
    bool valid() const noexcept { return m_future.valid(); }

    void wait() const { m_future.wait(); }

    template <class Rep, class Period>
    std::future_status wait_for(std::chrono::duration<Rep, Period> const& time) const {
        return m_future.wait_for(time);
    }

    /// Runs `function` with this future as soon as it has a result: on the thread that completes the promise,
    /// or here and now if it is complete. This future is empty afterwards. The future that comes back takes
    /// what `function` returns or throws. Throws std::future_error `no_state` on an empty future.
    template <class F>
    auto then(F function) -> Future<std::invoke_result_t<F&, Future>>;

private:
    friend class Promise<T>;
    template <class>
    friend class Future;
    friend struct future_detail::Access;

    Future(std::future<T> future, std::shared_ptr<future_detail::State> state) noexcept
        : m_future(std::move(future)), m_state(std::move(state)) {}

    std::future<T> m_future;
    std::shared_ptr<future_detail::State> m_state;  // what it points at has a lock of its own
};

/// The other end of a Future: takes the result and runs the continuation, if there is one by then.
///
/// Owned by whoever works on the result. Two threads may not use one promise at once without a lock of their
/// own, but it may end inside the continuation that it runs. Destruction without a result stores
/// `broken_promise` and runs the continuation with it; with a result it does nothing.
template <class T>
class Promise {
public:
    Promise() : m_state(std::make_shared<future_detail::State>()) {}
    Promise(Promise&& other) noexcept = default;
    Promise& operator=(Promise&& other) noexcept {
        Promise(std::move(other)).swap(*this);
        return *this;
    }
    ~Promise();

    void swap(Promise& other) noexcept {
        m_promise.swap(other.m_promise);
        m_state.swap(other.m_state);
    }

    /// Throws std::future_error: `no_state` after a move, `future_already_retrieved` the second time.
    Future<T> get_future() {
        if (!m_state) {
            future_detail::throwNoState();
        }
        return Future<T>(m_promise.get_future(), m_state);
    }

    /// Stores the result and runs the continuation on this thread, without any lock. Comes back when the
    /// continuation has. Throws std::future_error `promise_already_satisfied` for a second result.
    template <class... Value>
    void set_value(Value&&... value) {
        if constexpr (std::is_void_v<T>) {
            complete([&] { m_promise.set_value(); });
        } else {
            T result(std::forward<Value>(value)...);  // copied, and perhaps failed, before the lock
            complete([&] { m_promise.set_value(std::move(result)); });
        }
    }

    /// As set_value, with an exception for a result.
    void set_exception(std::exception_ptr exception) {
        complete([&] { m_promise.set_exception(std::move(exception)); });
    }

private:
    friend struct future_detail::Access;

    template <class Store>
    void complete(Store const& store) {
        // The continuation may end this promise: from the call on, only what is local counts.
        std::shared_ptr<future_detail::State> const state = m_state;
        if (!state) {
            future_detail::throwNoState();
        }
        std::function<void()> continuation;
        {
            std::lock_guard const lock(state->m_mutex);
            store();
            continuation.swap(state->m_continuation);
        }
        if (continuation) {
            continuation();
        }
    }

    std::promise<T> m_promise;
    std::shared_ptr<future_detail::State> m_state;  // what it points at has a lock of its own
};

namespace future_detail {

/// Joins a future to the function that continues it and to the promise of the function's result. Owned by the
/// continuation; dropped without having run, it breaks its promise, and so on down a chain.
template <class T, class R, class F>
struct Link {
    explicit Link(F&& f) : function(std::move(f)) {}

    /// Hands the future over and passes result or exception on. Throws nothing that `function` throws.
    void run() {
        try {
            if constexpr (std::is_void_v<R>) {
                function(std::move(source));
                target.set_value();
            } else {
                target.set_value(function(std::move(source)));
            }
        } catch (...) {
            target.set_exception(std::current_exception());
        }
    }

    F function;
    Promise<R> target;
    Future<T> source;
};

}  // namespace future_detail

template <class T>
Future<T>::~Future() {
    if (!m_state) {
        return;
    }
    // The continuation may own the last share of other futures: it dies after the lock was released.
    std::function<void()> continuation;
    std::function<void()> onFutureGone;
    {
        std::lock_guard const lock(m_state->m_mutex);
        continuation.swap(m_state->m_continuation);
        onFutureGone.swap(m_state->m_onFutureGone);
    }
    continuation = nullptr;
    if (onFutureGone) {
        try {
            onFutureGone();
        } catch (...) {  // out of a destructor
        }
    }
}

template <class T>
template <class F>
auto Future<T>::then(F function) -> Future<std::invoke_result_t<F&, Future>> {
    using R = std::invoke_result_t<F&, Future>;
    if (!valid() || !m_state) {
        future_detail::throwNoState();
    }
    // Everything that can fail comes before this future is moved: a failure leaves it as it was.
    std::shared_ptr<future_detail::State> const state = m_state;
    auto const link = std::make_shared<future_detail::Link<T, R, F>>(std::move(function));
    Future<R> result = link->target.get_future();
    std::function<void()> continuation = [link] { link->run(); };
    bool ready = false;
    {
        std::lock_guard const lock(state->m_mutex);
        result.m_state->m_onFutureGone = state->m_onFutureGone;
        ready = m_future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        link->source = std::move(*this);
        if (!ready) {
            continuation.swap(state->m_continuation);
        }
    }
    if (ready) {
        continuation();
    }
    return result;
}

template <class T>
Promise<T>::~Promise() {
    if (!m_state) {
        return;
    }
    std::function<void()> continuation;
    {
        // The standard's promise ends with the lock held: it stores broken_promise unless there is a result,
        // and no continuation can slip in between that and the look at m_continuation.
        std::lock_guard const lock(m_state->m_mutex);
        { std::promise<T> const last = std::move(m_promise); }
        continuation.swap(m_state->m_continuation);
    }
    if (continuation) {
        continuation();
    }
}

}  // namespace eb::com
