// Ten requests in flight at each of the four servers all the time, and Java answering around the moment at
// which they give up: nothing breaks, no transaction comes twice, each client gets one whole reply.
#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/routine/test/Routines.h"

namespace routine_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t IN_FLIGHT = 10;         // of each server
constexpr std::uint32_t REQUESTS = 20000;     // of all four
constexpr std::chrono::milliseconds WAIT{5};  // at first
constexpr unsigned WRITERS = 2;

/// Java as it answers from threads of its own, each response after a random time. The servers' wait follows
/// the time that this really takes, so that about half of the responses are in time on any machine.
class Answers {
public:
    /// `write` is called by several threads at once.
    explicit Answers(std::function<void(Bytes const&)> write) : m_write(std::move(write)) {
        std::printf("seed %u\n", m_seed);
        while (m_threads.size() < WRITERS) m_threads.emplace_back([this] { work(); });
    }
    ~Answers() {
        {
            std::lock_guard const lock(m_mutex);
            m_ending = true;
        }
        m_changed.notify_all();
        for (std::thread& thread : m_threads) thread.join();
    }

    void ask(Ids const& ids) {
        {
            std::lock_guard const lock(m_mutex);
            auto const now = Clock::now();
            m_due.emplace(now + std::chrono::microseconds(m_around(m_random)), Asked{now, ids});
        }
        m_changed.notify_one();
    }

private:
    void work() {
        std::unique_lock lock(m_mutex);
        while (!m_ending) {
            if (m_due.empty()) {
                m_changed.wait(lock);
                continue;
            }
            if (m_due.begin()->first > Clock::now()) {
                m_changed.wait_until(lock, Clock::time_point(m_due.begin()->first));
                continue;
            }
            auto const [asked, ids] = m_due.extract(m_due.begin()).mapped();
            bool const again = m_random() % 4 == 0;
            bool const other = m_random() % 4 == 0;
            lock.unlock();
            // A status of 1 to 5 with result 1: none of these is what a failure looks like.
            Bytes const answer = response(ids, static_cast<std::uint8_t>(1 + ids.transaction % 5), 1);
            m_write(answer);
            if (again) m_write(answer);  // which nobody may take for another's
            if (other)
                m_write(response(
                    {ids.routine, ids.transaction, static_cast<std::uint8_t>(ids.control % 4 + 1)}, 0, 2));
            lock.lock();
            m_mean += (std::chrono::duration<double, std::milli>(Clock::now() - asked).count() - m_mean) / 64;
            waitMilliseconds = std::max<std::chrono::milliseconds::rep>(1, std::lround(m_mean));
        }
    }

    struct Asked {
        Clock::time_point when;
        Ids ids;
    };

    std::function<void(Bytes const&)> const m_write;
    unsigned const m_seed = std::random_device{}();
    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex, all of these:
    std::mt19937 m_random{m_seed};
    std::uniform_int_distribution<long> m_around{0, 2 * std::chrono::microseconds(WAIT).count()};
    std::multimap<Clock::time_point, Asked> m_due;
    double m_mean = static_cast<double>(WAIT.count());  // milliseconds until a response is in
    bool m_ending = false;
    std::vector<std::thread> m_threads;  // the constructor's and the destructor's
};

class Stress : public Vehicle {
protected:
    void SetUp() override {
        waitMilliseconds = WAIT.count();
        Vehicle::SetUp();
    }
};

TEST_F(Stress, EveryRequestEndsOnceWhenResponsesMeetTheTimeOut) {
    // Given clients that ask again as soon as they have a reply
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::pair<Method, std::shared_ptr<Call>>> calls;  // guarded by mutex, as the next two
    std::vector<std::uint32_t> made(routines().size());
    std::uint32_t ended = 0;
    {
        Answers answers([this](Bytes const& payload) { java.write(RESPONSE, payload); });
        onRequest = [&](Ids const& ids) { answers.ask(ids); };
        std::function<void(std::size_t)> const ask = [&](std::size_t which) {
            std::unique_lock lock(mutex);
            if (calls.size() == REQUESTS) return;
            Method const method = METHODS[calls.size() % std::size(METHODS)];
            std::size_t const index = calls.size();
            calls.emplace_back(method, nullptr);
            ++made[which];
            lock.unlock();
            auto one = call(routines()[which], method, {0, 0, 0, 0}, [&, which] {
                ask(which);
                std::lock_guard const guard(mutex);
                ++ended;
                changed.notify_all();
            });
            lock.lock();
            calls[index].second = std::move(one);
        };
        // When
        for (std::size_t lane = 0; lane < IN_FLIGHT; ++lane) {
            for (std::size_t which = 0; which < routines().size(); ++which) ask(which);
        }
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, 5 * PATIENCE, [&] { return ended == REQUESTS; })) << ended;
        lock.unlock();
        // Then each call has taken one transaction: the next is known.
        for (std::size_t which = 0; which < routines().size(); ++which) {
            ASSERT_TRUE(eventually([&] {
                std::size_t const before = requests().size();
                ++made[which];
                call(routines()[which], START)->await();
                return requests().size() > before;
            }));
            EXPECT_EQ(requests().back(), (Ids{routines()[which].id, made[which] - 1, control(START)}));
        }
        unregisterJava();
    }
    unsigned failed = 0;
    unsigned good = 0;
    for (auto const& [method, one] : calls) {
        ASSERT_EQ(one->answers(), 1);
        ASSERT_EQ(one->returnCode(), 0);
        std::string const reply = hex(one->payload());
        if (method != REQUEST_RESULTS) {
            ASSERT_EQ(reply, "");
        } else if (reply == "20") {
            ++failed;
        } else {
            ASSERT_THAT(reply, testing::AnyOf("11", "21", "31", "41", "51"));
            ++good;
        }
    }
    // Java has seen none twice. Those that it has not seen were one too many.
    std::size_t sent = 0;
    for (std::size_t which = 0; which < routines().size(); ++which) {
        std::set<std::uint32_t> transactions;
        for (Ids const& ids : requests()) {
            if (ids.routine != routines()[which].id) continue;
            ASSERT_TRUE(transactions.insert(ids.transaction).second) << ids.transaction << " came twice";
            ASSERT_LT(ids.transaction, made[which]);
        }
        sent += transactions.size();
    }
    std::printf("%u requests, %zu sent; of the outcomes %u good, %u failed\n", REQUESTS, sent, good, failed);
    EXPECT_GT(good, 0U);
    EXPECT_GT(failed, 0U);
    EXPECT_GT(sent, REQUESTS / 2);  // a busy machine refuses some whose forerunner has not quite ended
}

}  // namespace
}  // namespace routine_test
