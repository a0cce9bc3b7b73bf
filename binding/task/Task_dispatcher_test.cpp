// What both dispatchers do, and what each does in its own way.
#include <ac/com/Strand.h>
#include <ac/com/Thread_pool_view.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "binding/task/Post.h"
#include "binding/testing/Await.h"
#include "binding/testing/Incidents.h"
#include "platform/log/Memory_target.h"

namespace ac::com {
namespace {

using binding_testing::Gate;

template <class Dispatcher>
class Task_dispatcher_of : public testing::Test {
protected:
    /// Waits until the pool's threads have come to the end of what they were given.
    void letPoolSettle() {
        // Shared with the tasks, which may still be leaving when this returns.
        auto const goOn = std::make_shared<Gate>();
        std::vector<std::shared_ptr<Gate>> gates;
        for (std::size_t i = 0; i < m_pool.num_threads(); ++i) {
            gates.push_back(std::make_shared<Gate>());
            m_pool.post([goOn, gate = gates.back()] {
                gate->open();
                goOn->wait();
            });
        }
        for (auto const& gate : gates) {
            EXPECT_TRUE(gate->wait());
        }
        goOn->open();
    }

    static_thread_pool m_pool{3};
    std::atomic<int> m_runs{0};
};
using Dispatchers = testing::Types<Thread_pool_view, Strand>;
TYPED_TEST_SUITE(Task_dispatcher_of, Dispatchers);

TYPED_TEST(Task_dispatcher_of, WaitOnAnIdleDispatcherReturnsAtOnceAndStopsIt) {
    TypeParam sut(this->m_pool);
    sut.internal_wait();
    sut.post([this] { ++this->m_runs; });
    this->letPoolSettle();
    EXPECT_EQ(this->m_runs, 0) << "a stopped dispatcher drops what is posted";
}

TYPED_TEST(Task_dispatcher_of, WaitEndsAfterTheLastTask) {
    TypeParam sut(this->m_pool);
    for (int i = 0; i < 100; ++i) {
        sut.post([this] { ++this->m_runs; });
    }
    sut.internal_wait();
    EXPECT_EQ(this->m_runs, 100);
}

TYPED_TEST(Task_dispatcher_of, WaitMayBeRepeated) {
    TypeParam sut(this->m_pool);
    sut.post([this] { ++this->m_runs; });
    sut.internal_wait();
    sut.internal_wait();
    EXPECT_EQ(this->m_runs, 1);
}

TYPED_TEST(Task_dispatcher_of, WaitFromInsideAnOwnTaskReturnsAtOnce) {
    TypeParam sut(this->m_pool);
    Gate done;
    sut.post([&] {
        sut.internal_wait();
        done.open();
    });
    EXPECT_TRUE(done.wait());
    sut.internal_wait();
}

TYPED_TEST(Task_dispatcher_of, TaskPostedWhileDrainingIsAccepted) {
    TypeParam sut(this->m_pool);
    Gate posted;
    sut.post([&] {
        sut.internal_wait();  // draining from here on, for this task is pending
        sut.post([this] { ++this->m_runs; });
        posted.open();
    });
    ASSERT_TRUE(posted.wait());
    sut.internal_wait();
    EXPECT_EQ(this->m_runs, 1);
    sut.post([this] { ++this->m_runs; });
    this->letPoolSettle();
    EXPECT_EQ(this->m_runs, 1) << "drained once, stopped for good";
}

TYPED_TEST(Task_dispatcher_of, RunningInThisThreadIsTrueInsideATaskAndFalseOutside) {
    TypeParam sut(this->m_pool);
    TypeParam other(this->m_pool);
    bool inside = false;
    bool insideOther = true;
    bool elsewhere = true;
    Gate done;
    sut.post([&] {
        inside = sut.running_in_this_thread();
        insideOther = other.running_in_this_thread();
        std::thread([&] { elsewhere = sut.running_in_this_thread(); }).join();
        done.open();
    });
    ASSERT_TRUE(done.wait());
    EXPECT_TRUE(inside);
    EXPECT_FALSE(insideOther);
    EXPECT_FALSE(elsewhere);
    EXPECT_FALSE(sut.running_in_this_thread());
    sut.internal_wait();
}

TYPED_TEST(Task_dispatcher_of, ThreadIsNoLongerInsideWhenItsTaskHasEnded) {
    static_thread_pool pool(1);
    TypeParam sut(pool);
    sut.post([] {});
    sut.internal_wait();
    bool inside = true;
    Gate done;
    pool.post([&] {
        inside = sut.running_in_this_thread();
        done.open();
    });
    ASSERT_TRUE(done.wait());
    EXPECT_FALSE(inside);
}

TYPED_TEST(Task_dispatcher_of, TaskThatThrowsIsCountedDownAndLogged) {
    ara::log::Capture const log;
    TypeParam sut(this->m_pool);
    sut.post([] { throw std::runtime_error("out of luck"); });
    sut.post(std::function<void()>());
    sut.post([this] { ++this->m_runs; });
    sut.internal_wait();
    this->letPoolSettle();
    EXPECT_EQ(this->m_runs, 1);
    std::vector<std::string> lines;
    for (auto const& message : log.messages()) {
        lines.push_back(message.text);
    }
    EXPECT_THAT(lines, testing::UnorderedElementsAre(testing::HasSubstr("out of luck"),
                                                     testing::HasSubstr("bad_function_call")));
}

TYPED_TEST(Task_dispatcher_of, DestructionWaitsForTasksUnderWay) {
    Gate begun;
    Gate goOn;
    std::atomic<bool> ended{false};
    std::thread opener;
    {
        TypeParam sut(this->m_pool);
        sut.post([&] {
            begun.open();
            goOn.wait();
            ended = true;
        });
        ASSERT_TRUE(begun.wait());
        opener = std::thread([&] { goOn.open(); });
    }
    EXPECT_TRUE(ended);
    opener.join();
}

TYPED_TEST(Task_dispatcher_of, MayEndInsideItsOwnTask) {
    auto sut = std::make_unique<TypeParam>(this->m_pool);
    auto held = std::make_shared<int>();
    Gate done;
    Gate posted;
    sut->post([&, held] {
        posted.wait();
        sut.reset();
        done.open();
    });
    posted.open();
    ASSERT_TRUE(done.wait());
    this->letPoolSettle();
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST(Task_dispatcher_of, WhatATaskHoldsMayEndTheDispatcher) {
    struct Holder {
        std::shared_ptr<TypeParam> dispatcher;
    };
    auto sut = std::make_shared<TypeParam>(this->m_pool);
    std::weak_ptr<TypeParam> const watch = sut;
    auto* const raw = sut.get();
    Gate goOn;
    raw->post([&goOn, holder = Holder{std::move(sut)}] { goOn.wait(); });
    goOn.open();
    this->letPoolSettle();
    EXPECT_TRUE(watch.expired());
}

TYPED_TEST(Task_dispatcher_of, TasksThatAPoolDropsAtItsEndAreCountedBack) {
    auto pool = std::make_unique<static_thread_pool>(1);
    TypeParam sut(*pool);
    Gate posted;
    pool->post([&posted, raw = pool.get()] {
        posted.wait();
        while (raw->post([] {})) {  // until the pool has begun to stop
            std::this_thread::yield();
        }
    });
    sut.post([this] { ++this->m_runs; });
    sut.post([this] { ++this->m_runs; });
    posted.open();
    pool.reset();

    sut.internal_wait();
    EXPECT_EQ(this->m_runs, 0);
}

TYPED_TEST(Task_dispatcher_of, PostsAgainstWaitsOfManyThreadsEnd) {
    for (int round = 0; round < 200; ++round) {
        TypeParam sut(this->m_pool);
        std::atomic<int> left{0};
        {
            std::vector<std::jthread> threads;
            for (int i = 0; i < 2; ++i) {
                threads.emplace_back([&] {
                    for (int post = 0; post < 20; ++post) {
                        sut.post([&] { ++left; });
                    }
                });
                threads.emplace_back([&] { sut.internal_wait(); });
            }
        }
        EXPECT_LE(left, 40);
    }
}

TYPED_TEST(Task_dispatcher_of, DestructionRightBehindTheLastTaskNeverLosesItsWakeUp) {
    for (int round = 0; round < 2'000; ++round) {
        TypeParam sut(this->m_pool);
        sut.post([this] { ++this->m_runs; });
    }
    EXPECT_EQ(this->m_runs, 2'000);
}

TEST(Strand_test, SecondTaskStartsAfterTheFirstHasEnded) {
    static_thread_pool pool(4);
    Strand sut(pool);
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::vector<int> order;  // no lock: that the tasks don't overlap is what is shown
    for (int i = 0; i < 500; ++i) {
        sut.post([&, i] {
            overlaps += inside++ == 0 ? 0 : 1;
            order.push_back(i);
            std::this_thread::yield();
            --inside;
        });
    }
    sut.internal_wait();
    EXPECT_EQ(overlaps, 0);
    ASSERT_EQ(order.size(), 500U);
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

TEST(Strand_test, TasksBehindTheOneThatEndsTheStrandAreDropped) {
    static_thread_pool pool(2);
    auto sut = std::make_unique<Strand>(pool);
    auto runs = std::make_shared<std::atomic<int>>(0);
    Gate posted;
    Gate done;
    sut->post([&, runs] {
        posted.wait();
        sut.reset();
        done.open();
    });
    for (int i = 0; i < 3; ++i) {
        sut->post([runs] { ++*runs; });
    }
    posted.open();
    ASSERT_TRUE(done.wait());
    EXPECT_EQ(*runs, 0);
}

TEST(Strand_test, NothingIsAcceptedOnceItsDestructionHasBegun) {
    static_thread_pool pool(2);
    auto strand = std::make_unique<Strand>(pool);
    Gate begun;
    std::atomic<bool> refused{false};
    strand->post([&, &inside = *strand] {
        begun.open();
        refused = binding_testing::eventually([&] {
            auto task = std::make_shared<int>(0);
            std::weak_ptr<int> const held = task;
            inside.post([task = std::move(task)] {});
            return held.expired();  // dropped at once
        });
    });
    EXPECT_TRUE(begun.wait());
    strand.reset();
    EXPECT_TRUE(refused);
}

TEST(Strand_test, DestructionRunsWhatWasPosted) {
    static_thread_pool pool(1);
    std::atomic<int> runs{0};
    {
        Strand sut(pool);
        for (int i = 0; i < 100; ++i) {
            sut.post([&] { ++runs; });
        }
    }
    EXPECT_EQ(runs, 100);
}

TEST(Thread_pool_view_test, TasksRunSideBySide) {
    static_thread_pool pool(2);
    Thread_pool_view sut(pool);
    Gate first;
    Gate second;
    sut.post([&] {
        first.open();
        EXPECT_TRUE(second.wait());
    });
    sut.post([&] {
        EXPECT_TRUE(first.wait());
        second.open();
    });
    sut.internal_wait();
}

TEST(Thread_pool_view_test, WaitFromInsideDoesNotWaitForTheOtherTasks) {
    static_thread_pool pool(2);
    Thread_pool_view sut(pool);
    Gate returned;
    sut.post([&] { EXPECT_TRUE(returned.wait()); });
    sut.post([&] {
        sut.internal_wait();
        returned.open();
    });
    sut.internal_wait();
}

TEST(Thread_pool_view_test, EndInsideATaskLeavesTheOtherTasksToEnd) {
    Gate ended;
    Gate otherDone;
    static_thread_pool pool(2);
    auto sut = std::make_unique<Thread_pool_view>(pool);
    sut->post([&] {
        EXPECT_TRUE(ended.wait());
        otherDone.open();
    });
    sut->post([&] {
        sut.reset();
        ended.open();
    });
    EXPECT_TRUE(otherDone.wait());
}

TEST(Thread_pool_view_test, TasksThatWaitWhenATaskEndsTheViewStillRun) {
    std::atomic<int> runs{0};
    Gate posted;
    {
        static_thread_pool pool(1);
        auto sut = std::make_unique<Thread_pool_view>(pool);
        sut->post([&] {
            posted.wait();
            sut.reset();
        });
        for (int i = 0; i < 3; ++i) {
            sut->post([&] { ++runs; });
        }
        Gate done;
        pool.post([&] { done.open(); });
        posted.open();
        EXPECT_TRUE(done.wait());
    }
    EXPECT_EQ(runs, 3);
}

TEST(Thread_pool_view_test, ViewsThatEndInsideTheirTasksAmongOthersTouchNothingThatHasGone) {
    // Given views that share three threads
    static_thread_pool pool(3);
    std::atomic<int> ended{0};
    Gate done;
    constexpr int ROUNDS = 2'000;
    constexpr int TASKS = 4;
    for (int round = 0; round < ROUNDS; ++round) {
        // When each is ended by whichever of its tasks comes first, while others run or wait
        struct Own {
            std::unique_ptr<Thread_pool_view> view;
            std::atomic<bool> ending{false};
        };
        auto const own = std::make_shared<Own>();
        own->view = std::make_unique<Thread_pool_view>(pool);
        Thread_pool_view& view = *own->view;
        auto const posted = std::make_shared<Gate>();
        for (int task = 0; task < TASKS; ++task) {
            view.post([&, own, posted] {
                posted->wait();
                if (!own->ending.exchange(true)) {
                    own->view.reset();
                }
                if (++ended == ROUNDS * TASKS) {
                    done.open();
                }
            });
        }
        posted->open();
    }
    // Then every task has run
    EXPECT_TRUE(done.wait());
}

TEST(Strand_test, StrandsThatEndInsideTheirTasksTouchNothingThatHasGone) {
    static_thread_pool pool(3);
    std::atomic<int> ended{0};
    Gate done;
    constexpr int ROUNDS = 2'000;
    for (int round = 0; round < ROUNDS; ++round) {
        auto sut = std::make_shared<Strand>(pool);
        Strand& strand = *sut;
        auto const posted = std::make_shared<Gate>();
        strand.post([&, posted, sut = std::move(sut)]() mutable {
            posted->wait();
            sut.reset();
            if (++ended == ROUNDS) {
                done.open();
            }
        });
        strand.post([] { ADD_FAILURE() << "behind the end of the strand"; });
        posted->open();
    }
    EXPECT_TRUE(done.wait());
}

// What a platform's own run() works on is in the object, not behind a pointer of ours.
static_assert(sizeof(Task_dispatcher) >= sizeof(static_thread_pool*) + sizeof(std::mutex) +
                                             2 * sizeof(std::uint32_t) + sizeof(std::condition_variable));
static_assert(sizeof(Strand) >=
              sizeof(Task_dispatcher) + sizeof(std::thread::id) + sizeof(std::deque<std::function<void()>>));
static_assert(sizeof(Thread_pool_view) >= sizeof(Task_dispatcher) + sizeof(std::vector<std::thread::id>));

}  // namespace
}  // namespace ac::com
