#include "platform/com/testing/Fake_clock.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/com/testing/Await.h"

namespace eb::com::runtime::testing {

struct Fake_clock::State : std::enable_shared_from_this<State> {
    struct Task {
        std::weak_ptr<Loop> loop;
        std::function<void()> run;
    };
    using Key = std::pair<std::chrono::milliseconds, std::uint64_t>;  // due, number

    explicit State(std::uint64_t itsSeed) : seed(itsSeed) {}

    std::uint64_t const seed;
    mutable std::mutex mutex;
    std::condition_variable settled;
    std::chrono::milliseconds now{0};        // guarded by mutex
    std::map<Key, Task> tasks;               // guarded by mutex
    bool ended = false;                      // guarded by mutex
    std::vector<std::weak_ptr<Loop>> loops;  // guarded by mutex
    std::uint64_t clocks = 0;                // guarded by mutex: ever
    std::uint64_t number = 0;                // guarded by mutex: of the task made last
    std::uint64_t posted = 0;                // guarded by mutex: ever
    std::uint64_t underWay = 0;              // guarded by mutex: posted, and neither run nor dropped

    /// Lives as long as a task is on its way through a loop, also when the loop drops it.
    class Trip {
    public:
        explicit Trip(std::shared_ptr<State> state) : m_state(std::move(state)) {
            std::lock_guard lock(m_state->mutex);
            ++m_state->posted;
            ++m_state->underWay;
        }
        ~Trip() {
            std::lock_guard lock(m_state->mutex);
            --m_state->underWay;
            m_state->settled.notify_all();
        }
        Trip(Trip const&) = delete;
        Trip& operator=(Trip const&) = delete;

    private:
        std::shared_ptr<State> m_state;
    };

    void post(Task task) {
        auto const loop = task.loop.lock();
        if (!loop) return;
        loop->post([trip = std::make_shared<Trip>(shared_from_this()), run = std::move(task.run)] { run(); });
    }

    /// The key under which it can be taken back until it is posted.
    Key add(std::shared_ptr<Loop> const& loop, std::chrono::milliseconds delay, std::function<void()> run) {
        Key key;
        {
            std::lock_guard lock(mutex);
            key = {now + delay, ++number};
            if (delay.count() > 0) {
                if (!ended) tasks.emplace(key, Task{loop, std::move(run)});
                return key;
            }
        }
        post({loop, std::move(run)});
        return key;
    }

    /// Tasks own what owns this state, so they have to go for it to go.
    void end() {
        std::map<Key, Task> dropped;  // outside of the lock
        std::lock_guard lock(mutex);
        ended = true;
        dropped.swap(tasks);
    }

    /// The tasks of the next instant up to `end`, to which the time moves on; at `end` nothing is left.
    std::vector<Task> next(std::chrono::milliseconds end) {
        std::vector<Task> due;
        std::lock_guard lock(mutex);
        if (tasks.empty() || tasks.begin()->first.first > end) {
            now = end;
            return due;
        }
        now = tasks.begin()->first.first;
        while (!tasks.empty() && tasks.begin()->first.first == now)
            due.push_back(std::move(tasks.extract(tasks.begin()).mapped()));
        return due;
    }

    std::uint64_t waitForTrips() {
        std::unique_lock lock(mutex);
        if (!settled.wait_for(lock, PATIENCE, [this] { return underWay == 0; }))
            throw std::runtime_error("the loops of the runtimes don't come to rest");
        return posted;
    }

    void flushLoops() {
        std::vector<std::shared_ptr<Loop>> running;
        {
            std::lock_guard lock(mutex);
            std::erase_if(loops, [](auto const& loop) { return loop.expired(); });
            for (auto const& weak : loops)
                if (auto loop = weak.lock()) running.push_back(std::move(loop));
        }
        for (auto const& loop : running) loop->run([] {});
    }
};

namespace {

/// A task that can be taken back: on the io thread, where it also runs.
class Timer_task {
public:
    Timer_task(std::shared_ptr<Fake_clock::State> state, std::function<void()> run)
        : m_state(std::move(state)), m_run(std::move(run)) {}
    ~Timer_task() {
        std::function<void()> dropped;  // outside of the lock
        std::lock_guard lock(m_state->mutex);
        if (auto node = m_state->tasks.extract(key)) dropped = std::move(node.mapped().run);
    }
    Timer_task(Timer_task const&) = delete;
    Timer_task& operator=(Timer_task const&) = delete;

    /// The task may drop its own timer.
    void run() {
        auto const task = std::move(m_run);
        task();
    }

    Fake_clock::State::Key key;

private:
    std::shared_ptr<Fake_clock::State> m_state;
    std::function<void()> m_run;
};

class Runtime_clock : public Clock {
public:
    Runtime_clock(std::shared_ptr<Fake_clock::State> state, std::weak_ptr<Loop> loop, std::uint64_t seed)
        : m_state(std::move(state)), m_loop(std::move(loop)), m_dice(seed) {}

    std::chrono::milliseconds now() const override {
        std::lock_guard lock(m_state->mutex);
        return m_state->now;
    }
    Timer after(std::chrono::milliseconds time, std::function<void()> task) override {
        auto const timer = std::make_shared<Timer_task>(m_state, std::move(task));
        timer->key = m_state->add(m_loop.lock(), time, [weak = std::weak_ptr(timer)] {
            if (auto const self = weak.lock()) self->run();
        });
        return timer;
    }
    std::chrono::milliseconds between(std::chrono::milliseconds least,
                                      std::chrono::milliseconds most) override {
        return std::chrono::milliseconds(
            std::uniform_int_distribution<std::int64_t>(least.count(), most.count())(m_dice));
    }

private:
    std::shared_ptr<Fake_clock::State> m_state;
    std::weak_ptr<Loop> m_loop;
    std::mt19937_64 m_dice;
};

}  // namespace

Fake_clock::Fake_clock(std::uint64_t seed) : m_state(std::make_shared<State>(seed)), m_original(true) {}

Fake_clock::~Fake_clock() {
    if (m_original) m_state->end();
}

std::unique_ptr<Clock> Fake_clock::of(std::shared_ptr<Loop> const& loop) {
    std::lock_guard lock(m_state->mutex);
    m_state->loops.push_back(loop);
    return std::make_unique<Runtime_clock>(m_state, loop, m_state->seed + m_state->clocks++);
}

void Fake_clock::later(std::shared_ptr<Loop> const& loop, std::chrono::milliseconds delay,
                       std::function<void()> task) {
    m_state->add(loop, delay, std::move(task));
}

void Fake_clock::advance(std::chrono::milliseconds time) {
    settle();
    auto const end = now() + time;
    for (auto due = m_state->next(end); !due.empty(); due = m_state->next(end)) {
        for (auto& task : due) m_state->post(std::move(task));
        settle();
    }
}

void Fake_clock::settle() {
    // A task may post another one directly, hence the second look at the loops.
    std::uint64_t before = 0;
    do {
        before = m_state->waitForTrips();
        m_state->flushLoops();
        m_state->flushLoops();
    } while (m_state->waitForTrips() != before);
}

std::chrono::milliseconds Fake_clock::now() const {
    std::lock_guard lock(m_state->mutex);
    return m_state->now;
}

}  // namespace eb::com::runtime::testing
