#include <ac/com/Thread_pool_view.h>

#include <algorithm>
#include <array>
#include <exception>

#include "binding/task/Post.h"

namespace ac::com {

/// A task on its way. Counted from its post to its end: a task that throws, or that the pool drops, is
/// counted down like any other.
///
///     listed (m_view is set) --run or dropped--> ended, counted down
///        '--view ends inside one of its tasks--> left alone: it runs, and nothing of the view is used
///
/// Tasks are listed so that a view that ends inside one of them can let go of the others.
class Thread_pool_view::Pending_task {
public:
    Pending_task(Thread_pool_view& view, std::function<void()>&& task) noexcept
        : m_list(list_of(view)), m_view(&view), m_task(std::move(task)) {}
    /// Into its place in a std::function, before it is counted.
    Pending_task(Pending_task&& other) noexcept
        : m_list(other.m_list), m_view(other.m_view), m_task(std::move(other.m_task)) {}
    /// A std::function asks for it; none that holds a task is ever copied.
    Pending_task(Pending_task const& other) : m_list(other.m_list) { std::terminate(); }
    Pending_task& operator=(Pending_task const&) = delete;
    ~Pending_task() {
        m_task = nullptr;  // what it holds may end before a waiter goes on
        if (m_counted) {
            end(false);
        }
    }

    /// Counts the task; false if the view takes none any more.
    bool count() {
        std::lock_guard const listing(m_list.mutex);
        std::lock_guard const lock(m_view->m_mutex);
        if (m_view->m_state == 2) {
            return false;
        }
        ++m_view->m_pending;
        link();
        m_counted = true;
        return true;
    }

    void operator()();

    /// Lets go of the tasks of a view that ends.
    static void leave_alone(Thread_pool_view const& view) {
        List& list = list_of(view);
        std::lock_guard const listing(list.mutex);
        for (Pending_task* task = list.first; task != nullptr;) {
            Pending_task* const next = task->m_next;
            if (task->m_view == &view) {
                task->unlink();
                task->m_view = nullptr;
            }
            task = next;
        }
    }

private:
    friend class Running_thread_guard;

    /// Its mutex is taken before that of a view.
    struct alignas(64) List {
        std::mutex mutex;
        Pending_task* first = nullptr;  // guarded by mutex
    };

    /// By address, so that views seldom share one.
    static List& list_of(Thread_pool_view const& view) noexcept {
        static std::array<List, 31> lists;
        return lists[reinterpret_cast<std::uintptr_t>(&view) / 64 % lists.size()];
    }

    void begin() {
        std::lock_guard const listing(m_list.mutex);
        if (m_view != nullptr) {
            std::lock_guard const lock(m_view->m_mutex);
            m_view->m_runningThreads.push_back(std::this_thread::get_id());
        }
    }

    void end(bool was_running) {
        m_counted = false;
        std::lock_guard const listing(m_list.mutex);
        if (m_view == nullptr) {
            return;
        }
        std::lock_guard const lock(m_view->m_mutex);
        if (was_running) {
            auto& threads = m_view->m_runningThreads;
            threads.erase(std::ranges::find(threads, std::this_thread::get_id()));
        }
        unlink();
        m_view->count_down(1);
    }

    void link() {
        m_next = m_list.first;
        if (m_next != nullptr) {
            m_next->m_previous = this;
        }
        m_list.first = this;
    }

    void unlink() {
        (m_previous != nullptr ? m_previous->m_next : m_list.first) = m_next;
        if (m_next != nullptr) {
            m_next->m_previous = m_previous;
        }
    }

    List& m_list;
    Thread_pool_view* m_view =
        nullptr;                     // guarded by the list's mutex once counted; null when the view has gone
    Pending_task* m_next = nullptr;  // guarded by the list's mutex
    Pending_task* m_previous = nullptr;  // guarded by the list's mutex
    std::function<void()> m_task;        // used by the thread that has this, as the next
    bool m_counted = false;              // and not yet ended
};

/// Has the calling thread among those that are inside a task, until the end of its scope.
class Thread_pool_view::Running_thread_guard {
public:
    explicit Running_thread_guard(Pending_task& task) : m_task(task) { m_task.begin(); }
    ~Running_thread_guard() { m_task.end(true); }
    Running_thread_guard(Running_thread_guard const&) = delete;
    Running_thread_guard& operator=(Running_thread_guard const&) = delete;

private:
    Pending_task& m_task;
};

void Thread_pool_view::Pending_task::operator()() {
    Running_thread_guard const guard(*this);
    std::function<void()> const task = std::move(m_task);
    task();
}

Thread_pool_view::Thread_pool_view(static_thread_pool& pool) : Task_dispatcher(pool) {
    m_runningThreads.reserve(pool.num_threads());
}

Thread_pool_view::~Thread_pool_view() {
    internal_wait();
    if (running_in_this_thread()) {
        Pending_task::leave_alone(*this);
    }
}

void Thread_pool_view::internal_post(std::function<void()> task) {
    std::function<void()> pending = Pending_task(*this, std::move(task));
    if (pending.target<Pending_task>()->count()) {
        m_pool->post(std::move(pending));
    }
}

bool Thread_pool_view::running_in_this_thread() const {
    std::lock_guard const lock(m_mutex);
    return std::ranges::find(m_runningThreads, std::this_thread::get_id()) != m_runningThreads.end();
}

}  // namespace ac::com
