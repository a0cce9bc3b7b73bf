// What a promise and its future share beside the standard's result.
#pragma once

#include <functional>
#include <future>
#include <mutex>

namespace eb::com {

template <class T>
class Future;
template <class T>
class Promise;

namespace future_detail {

/// The continuation between a promise and its future. Made by the promise, shared by both.
///
///   empty: no result, no continuation
///     | then                                          | completed or broken
///     v                                               v
///   waiting: the continuation is kept here,         done: the result is stored, nothing is kept here;
///   and with it the future                            then runs its function at once
///     | completed or broken: it is taken out
///     | and run once, by the promise's thread
///     '-------------------------------------------> done
///
/// "Completed" is set_value or set_exception, "broken" the promise's end without either. A future that
/// ends first drops what is kept here; nothing can be kept after that.
///
/// The result is stored with m_mutex held, and a continuation is kept only while there is none. So a kept
/// continuation always means that no result is stored, and each one is run exactly once or dropped.
/// No continuation and no hook is called, and none destroyed, with m_mutex held.
struct State {
    std::mutex m_mutex;
    std::function<void()> m_onFutureGone;  // guarded by m_mutex; runs when the future has gone
    std::function<void()> m_continuation;  // guarded by m_mutex; owns the future while it waits
};

struct Access;  // opens the state to tests

[[noreturn]] inline void throwNoState() {
    throw std::future_error(std::future_errc::no_state);
}

}  // namespace future_detail
}  // namespace eb::com
