#include <ac/com/static_thread_pool.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include "binding/task/Post.h"
#include "binding/testing/Await.h"
#include "platform/log/Memory_target.h"

namespace ac::com {
namespace {

using binding_testing::Gate;

TEST(static_thread_pool, RunsTasksInOrderOfArrival) {
    std::vector<int> order;
    Gate done;
    static_thread_pool sut(1);
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(sut.post([&order, i] { order.push_back(i); }));
    }
    sut.post([&] { done.open(); });
    ASSERT_TRUE(done.wait());
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST(static_thread_pool, HasAsManyThreadsAsAskedForAndAtLeastOne) {
    EXPECT_EQ(static_thread_pool(3).num_threads(), 3U);
    EXPECT_EQ(static_thread_pool(0).num_threads(), 1U);
}

TEST(static_thread_pool, RunsAsManyTasksAtOnceAsItHasThreads) {
    Gate first;
    Gate second;
    static_thread_pool sut(2);
    sut.post([&] {
        first.open();
        EXPECT_TRUE(second.wait());
    });
    sut.post([&] {
        EXPECT_TRUE(first.wait());
        second.open();
    });
    EXPECT_TRUE(second.wait());
}

TEST(static_thread_pool, TaskThatThrowsIsLoggedAndTakesNeitherThreadNorProcess) {
    ara::log::Capture const log;
    Gate done;
    static_thread_pool sut(1);
    sut.post([] { throw std::runtime_error("out of luck"); });
    sut.post([] { throw 5; });
    sut.post([] { std::function<void()>()(); });
    sut.post([&] { done.open(); });
    ASSERT_TRUE(done.wait());
    std::vector<std::string> lines;
    for (auto const& message : log.messages()) {
        EXPECT_EQ(message.level, ara::log::LogLevel::kError);
        lines.push_back(message.text);
    }
    EXPECT_THAT(lines, testing::ElementsAre(testing::HasSubstr("out of luck"),
                                            testing::HasSubstr("not a std::exception"),
                                            testing::HasSubstr("bad_function_call")));
}

TEST(static_thread_pool, StoppedPoolRefusesTasksAndDropsThoseThatHaveNotBegun) {
    auto held = std::make_shared<int>(0);
    Gate begun;
    Gate goOn;
    std::optional<bool> accepted;
    std::thread ender;
    {
        auto sut = std::make_unique<static_thread_pool>(1);
        sut->post([&, pool = sut.get()] {
            begun.open();
            goOn.wait();
            // The pool is being destroyed: what comes now is too late.
            bool taken = true;
            for (int tries = 0; taken && tries < 1'000'000; ++tries) {
                taken = pool->post([held] { ++*held; });
                std::this_thread::yield();
            }
            accepted = taken;
        });
        sut->post([held] { ++*held; });
        ASSERT_TRUE(begun.wait());
        ender = std::thread([&] { sut.reset(); });
        goOn.open();
        ender.join();
    }
    EXPECT_EQ(accepted, false);
    EXPECT_EQ(*held, 0);
    EXPECT_EQ(held.use_count(), 1) << "dropped tasks are destroyed";
}

TEST(static_thread_pool, TaskIsDestroyedOnThePoolBeforeTheNextBegins) {
    auto held = std::make_shared<int>();
    std::weak_ptr<int> const watch = held;
    std::atomic<bool> gone{false};
    Gate done;
    static_thread_pool sut(1);
    sut.post([held = std::move(held)] {});
    sut.post([&] {
        gone = watch.expired();
        done.open();
    });
    ASSERT_TRUE(done.wait());
    EXPECT_TRUE(gone);
}

TEST(static_thread_pool, PostsFromManyThreadsAllRun) {
    constexpr int POSTS = 2'000;
    std::atomic<int> runs{0};
    Gate done;
    static_thread_pool sut(3);
    {
        std::vector<std::jthread> posters;
        for (int i = 0; i < 4; ++i) {
            posters.emplace_back([&] {
                for (int post = 0; post < POSTS; ++post) {
                    sut.post([&] {
                        if (++runs == 4 * POSTS) {
                            done.open();
                        }
                    });
                }
            });
        }
    }
    EXPECT_TRUE(done.wait());
}

}  // namespace
}  // namespace ac::com
