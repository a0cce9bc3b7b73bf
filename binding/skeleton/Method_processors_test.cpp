#include "binding/skeleton/Method_processors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "binding/testing/Await.h"

namespace ac::com::cpp_binding::skeleton::detail {
namespace {

using binding_testing::Gate;

template <class Processor>
class Processor_of : public testing::Test {
protected:
    static_thread_pool m_pool{3};
    std::atomic<int> m_runs{0};
};
using Processors = testing::Types<Parallel_method_processor, Sequential_method_processor>;
TYPED_TEST_SUITE(Processor_of, Processors);

TYPED_TEST(Processor_of, WaitEndsAfterAllCallsAndMoreMayFollow) {
    TypeParam sut(this->m_pool);
    for (int round = 1; round <= 3; ++round) {
        for (int i = 0; i < 50; ++i) {
            sut.post([this] { ++this->m_runs; });
        }
        sut.wait();
        EXPECT_EQ(this->m_runs, round * 50);
    }
}

TYPED_TEST(Processor_of, CallRunsOnAThreadOfThePool) {
    TypeParam sut(this->m_pool);
    std::thread::id ranOn;
    sut.post([&] { ranOn = std::this_thread::get_id(); });
    sut.wait();
    EXPECT_NE(ranOn, std::thread::id());
    EXPECT_NE(ranOn, std::this_thread::get_id());
}

TYPED_TEST(Processor_of, WaitInsideACallReturnsAtOnceAndTheNextWaiterWaitsForThatCall) {
    TypeParam sut(this->m_pool);
    Gate returned;
    Gate goOn;
    std::atomic<bool> ended{false};
    sut.post([&] {
        sut.wait();
        sut.wait();
        returned.open();
        goOn.wait();
        ended = true;
    });
    ASSERT_TRUE(returned.wait());
    sut.post([this] { ++this->m_runs; });
    std::thread opener([&] { goOn.open(); });
    sut.wait();
    EXPECT_TRUE(ended) << "although its dispatcher was replaced";
    EXPECT_EQ(this->m_runs, 1);
    opener.join();
}

TYPED_TEST(Processor_of, MayEndInsideItsOwnCall) {
    auto sut = std::make_unique<TypeParam>(this->m_pool);
    Gate posted;
    Gate done;
    sut->post([&] {
        posted.wait();
        sut.reset();
        done.open();
    });
    posted.open();
    EXPECT_TRUE(done.wait());
}

TYPED_TEST(Processor_of, DestructionWaitsForItsCalls) {
    {
        TypeParam sut(this->m_pool);
        for (int i = 0; i < 50; ++i) {
            sut.post([this] { ++this->m_runs; });
        }
    }
    EXPECT_EQ(this->m_runs, 50);
}

TYPED_TEST(Processor_of, PostsAgainstWaitsAllRun) {
    constexpr int POSTS = 2'000;
    TypeParam sut(this->m_pool);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&] {
                for (int post = 0; post < POSTS; ++post) {
                    sut.post([this] { ++this->m_runs; });
                }
            });
            threads.emplace_back([&] {
                for (int wait = 0; wait < 200; ++wait) {
                    sut.wait();
                }
            });
        }
    }
    sut.wait();
    EXPECT_EQ(this->m_runs, 2 * POSTS);
}

TEST(Method_processor, SequentialCallsDoNotOverlap) {
    static_thread_pool pool(3);
    Sequential_method_processor sut(pool);
    std::vector<int> order;
    for (int i = 0; i < 200; ++i) {
        sut.post([&order, i] { order.push_back(i); });
    }
    sut.wait();
    EXPECT_TRUE(std::ranges::is_sorted(order));
    EXPECT_EQ(order.size(), 200U);
}

TEST(Method_processor, ParallelCallsRunSideBySide) {
    static_thread_pool pool(2);
    Parallel_method_processor sut(pool);
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
    sut.wait();
}

TEST(Method_processor, ModeSelectsTheProcessor) {
    static_thread_pool pool(1);
    for (unsigned mode = 0; mode < 256; ++mode) {
        auto const chosen = static_cast<Processing_mode>(mode);
        auto const sut = make_method_processor(chosen, pool);
        EXPECT_EQ(dynamic_cast<Parallel_method_processor*>(sut.get()) != nullptr, mode == 1) << mode;
        EXPECT_EQ(dynamic_cast<Sequential_method_processor*>(sut.get()) != nullptr, mode == 2) << mode;
        EXPECT_EQ(dynamic_cast<Noop_method_processor*>(sut.get()) != nullptr, mode != 1 && mode != 2) << mode;
        EXPECT_STREQ(text(chosen), mode == 1 ? "parallel" : mode == 2 ? "sequential" : "none");
    }
}

TEST(Method_processor, NoopTakesNoCalls) {
    Noop_method_processor sut;
    sut.post([] { FAIL(); });
    sut.wait();
}

}  // namespace
}  // namespace ac::com::cpp_binding::skeleton::detail
