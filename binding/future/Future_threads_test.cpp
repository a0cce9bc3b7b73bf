// Promises and futures that meet on several threads. Each race is run many times; the sanitizers watch.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "binding/future/Future.h"

namespace eb::com {
namespace {

constexpr int ROUNDS = 2'000;

/// Two actions, started as close together as threads can.
template <class First, class Second>
void race(First const& first, Second const& second) {
    std::atomic<int> ready{0};
    auto const start = [&] {
        ++ready;
        while (ready < 2) {
            std::this_thread::yield();
        }
    };
    std::thread other([&] {
        start();
        second();
    });
    start();
    first();
    other.join();
}

TEST(Future_threads, ThenAgainstCompletionRunsTheContinuationExactlyOnce) {
    for (int round = 0; round < ROUNDS; ++round) {
        Promise<int> promise;
        Future<int> future = promise.get_future();
        std::atomic<int> sum{0};
        race([&] { promise.set_value(round + 1); },
             [&] { future.then([&](Future<int> result) { sum += result.get(); }); });
        ASSERT_EQ(sum, round + 1);
    }
}

TEST(Future_threads, ThenAgainstTheEndOfThePromiseRunsTheContinuationExactlyOnce) {
    for (int round = 0; round < ROUNDS; ++round) {
        auto promise = std::make_unique<Promise<int>>();
        Future<int> future = promise->get_future();
        std::atomic<int> broken{0};
        auto held = std::make_shared<int>();
        race([&] { promise.reset(); },
             [&] {
                 future.then([&, held](Future<int> result) {
                     try {
                         result.get();
                     } catch (std::future_error const& error) {
                         broken += error.code() == std::future_errc::broken_promise ? 1 : 100;
                     }
                 });
             });
        ASSERT_EQ(broken, 1);
        ASSERT_EQ(held.use_count(), 1) << "no continuation is left over in a ring";
    }
}

TEST(Future_threads, EndOfTheFutureAgainstCompletionIsQuiet) {
    for (int round = 0; round < ROUNDS; ++round) {
        Promise<int> promise;
        auto future = std::make_unique<Future<int>>(promise.get_future());
        race([&] { promise.set_value(1); }, [&] { future.reset(); });
    }
}

TEST(Future_threads, DroppingTheChainAgainstCompletionStillRunsTheContinuation) {
    for (int round = 0; round < ROUNDS; ++round) {
        Promise<int> promise;
        std::atomic<int> runs{0};
        auto chained =
            std::make_unique<Future<void>>(promise.get_future().then([&](Future<int>) { ++runs; }));
        race([&] { promise.set_value(1); }, [&] { chained.reset(); });
        ASSERT_EQ(runs, 1);
    }
}

TEST(Future_threads, WaiterOnAnotherThreadGetsTheResult) {
    for (int round = 0; round < ROUNDS; ++round) {
        Promise<int> promise;
        Future<int> future = promise.get_future();
        int got = 0;
        race([&] { promise.set_value(3); }, [&] { got = future.get(); });
        ASSERT_EQ(got, 3);
    }
}

TEST(Future_threads, ReplacedPromiseHeldByItsCompleterEndsEachCallOnce) {
    // One side replaces the current promise for each call, the other completes the one that it finds: every
    // call ends once, with the value or with broken_promise.
    std::mutex mutex;
    std::shared_ptr<Promise<int>> current = std::make_shared<Promise<int>>();
    std::atomic<int> ended{0};
    std::atomic<int> failed{0};
    std::atomic<bool> stop{false};
    std::thread completer([&] {
        while (!stop) {
            std::shared_ptr<Promise<int>> mine;
            {
                std::lock_guard const lock(mutex);
                mine = current;
            }
            try {
                mine->set_value(1);
            } catch (std::future_error const& error) {
                failed += error.code() == std::future_errc::promise_already_satisfied ? 0 : 1;
            }
            mine.reset();
            std::this_thread::yield();
        }
    });
    int const calls = ROUNDS * 5;
    for (int call = 0; call < calls; ++call) {
        auto fresh = std::make_shared<Promise<int>>();
        Future<int> future = fresh->get_future();
        {
            std::lock_guard const lock(mutex);
            current.swap(fresh);
        }
        fresh.reset();
        future.then([&](Future<int>) { ++ended; });
    }
    stop = true;
    completer.join();
    current.reset();
    EXPECT_EQ(ended, calls);
    EXPECT_EQ(failed, 0);
}

}  // namespace
}  // namespace eb::com
