#include "binding/future/Future.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace eb::com::future_detail {

/// Opens promise and future: what no caller can reach is shown on the state itself.
struct Access {
    template <class Side>
    static State& state(Side const& side) {
        return *side.m_state;
    }
};

}  // namespace eb::com::future_detail

namespace eb::com {
namespace {

using future_detail::Access;

/// A pool's strings and numbers and nothings: what one type does, all do.
template <class T>
struct Sample;
template <>
struct Sample<void> {
    static void complete(Promise<void>& promise) { promise.set_value(); }
};
template <>
struct Sample<int> {
    static void complete(Promise<int>& promise) { promise.set_value(7); }
};
template <>
struct Sample<std::string> {
    static void complete(Promise<std::string>& promise) { promise.set_value("seven"); }
};
template <>
struct Sample<std::unique_ptr<int>> {
    static void complete(Promise<std::unique_ptr<int>>& promise) {
        promise.set_value(std::make_unique<int>(7));
    }
};

template <class Action>
std::error_code codeOf(Action const& action) {
    try {
        action();
    } catch (std::future_error const& error) {
        return error.code();
    }
    return {};
}

template <class T>
class FutureOf : public testing::Test {
protected:
    using Result = T;
    static void complete(Promise<T>& promise) { Sample<T>::complete(promise); }
    static std::exception_ptr failure() {
        return std::make_exception_ptr(std::runtime_error("broken by hand"));
    }
};
using Types = testing::Types<void, int, std::string, std::unique_ptr<int>>;
TYPED_TEST_SUITE(FutureOf, Types);

TYPED_TEST(FutureOf, GetGivesTheResultOnce) {
    Promise<TypeParam> promise;
    Future<TypeParam> sut = promise.get_future();
    this->complete(promise);

    EXPECT_TRUE(sut.valid());
    sut.get();

    EXPECT_FALSE(sut.valid());
    EXPECT_EQ(codeOf([&] { sut.get(); }), std::future_errc::no_state);
}

TYPED_TEST(FutureOf, SecondResultRaisesCode2AndTheContinuationRanOnce) {
    Promise<TypeParam> promise;
    int runs = 0;
    promise.get_future().then([&](Future<TypeParam> result) {
        result.get();
        ++runs;
    });
    this->complete(promise);

    EXPECT_EQ(codeOf([&] { this->complete(promise); }).value(), 2);
    EXPECT_EQ(codeOf([&] { promise.set_exception(this->failure()); }).value(), 2);
    EXPECT_EQ(runs, 1);
}

TYPED_TEST(FutureOf, SecondGetFutureRaisesCode1) {
    Promise<TypeParam> promise;
    auto const first = promise.get_future();
    EXPECT_EQ(codeOf([&] { promise.get_future(); }).value(), 1);
}

TYPED_TEST(FutureOf, PromiseWithoutStateRaisesCode3) {
    Promise<TypeParam> sut;
    Promise<TypeParam> const taker = std::move(sut);
    EXPECT_EQ(codeOf([&] { sut.get_future(); }).value(), 3);
    EXPECT_EQ(codeOf([&] { this->complete(sut); }).value(), 3);
    EXPECT_EQ(codeOf([&] { sut.set_exception(this->failure()); }).value(), 3);
}

TYPED_TEST(FutureOf, ThenOnAnEmptyFutureRaisesCode3) {
    Future<TypeParam> sut;
    EXPECT_EQ(codeOf([&] { sut.then([](Future<TypeParam>) {}); }).value(), 3);
}

TYPED_TEST(FutureOf, ThenLeavesTheFutureEmpty) {
    Promise<TypeParam> promise;
    Future<TypeParam> sut = promise.get_future();
    sut.then([](Future<TypeParam>) {});
    EXPECT_FALSE(sut.valid());
    EXPECT_EQ(codeOf([&] { sut.then([](Future<TypeParam>) {}); }).value(), 3);
}

TYPED_TEST(FutureOf, ThenBeforeTheResultRunsOnTheCompletingThread) {
    Promise<TypeParam> promise;
    std::thread::id ranOn;
    auto chained = promise.get_future().then([&](Future<TypeParam> result) {
        result.get();
        ranOn = std::this_thread::get_id();
    });
    std::thread::id completer;
    std::thread([&] {
        completer = std::this_thread::get_id();
        this->complete(promise);
        EXPECT_EQ(ranOn, completer) << "the continuation ended before the completion returned";
    }).join();
    chained.get();
    EXPECT_EQ(ranOn, completer);
}

TYPED_TEST(FutureOf, ThenAfterTheResultRunsBeforeThenReturns) {
    Promise<TypeParam> promise;
    Future<TypeParam> sut = promise.get_future();
    std::thread([&] { this->complete(promise); }).join();

    std::thread::id ranOn;
    sut.then([&](Future<TypeParam> result) {
        result.get();
        ranOn = std::this_thread::get_id();
    });
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TYPED_TEST(FutureOf, ContinuationSeesAStoredException) {
    Promise<TypeParam> promise;
    std::string text;
    promise.get_future().then([&](Future<TypeParam> result) {
        try {
            result.get();
        } catch (std::runtime_error const& error) {
            text = error.what();
        }
    });
    promise.set_exception(this->failure());
    EXPECT_EQ(text, "broken by hand");
}

TYPED_TEST(FutureOf, PromiseThatGoesRunsItsContinuationOnceWithBrokenPromise) {
    int runs = 0;
    std::error_code code;
    {
        Promise<TypeParam> promise;
        promise.get_future().then([&](Future<TypeParam> result) {
            ++runs;
            code = codeOf([&] { result.get(); });
        });
        EXPECT_EQ(runs, 0);
    }
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(code.value(), 4);
}

TYPED_TEST(FutureOf, PromiseThatGoesTellsAPlainWaiter) {
    Future<TypeParam> sut;
    {
        Promise<TypeParam> promise;
        sut = promise.get_future();
    }
    EXPECT_EQ(codeOf([&] { sut.get(); }).value(), 4);
}

TYPED_TEST(FutureOf, ThenOnABrokenPromiseRunsAtOnce) {
    Future<TypeParam> sut;
    { sut = Promise<TypeParam>().get_future(); }
    std::error_code code;
    sut.then([&](Future<TypeParam> result) { code = codeOf([&] { result.get(); }); });
    EXPECT_EQ(code.value(), 4);
}

TYPED_TEST(FutureOf, MoveAssignmentBreaksTheOldPromise) {
    Promise<TypeParam> promise;
    std::error_code code;
    promise.get_future().then([&](Future<TypeParam> result) { code = codeOf([&] { result.get(); }); });
    promise = Promise<TypeParam>();
    EXPECT_EQ(code.value(), 4);
    EXPECT_TRUE(promise.get_future().valid());
}

TYPED_TEST(FutureOf, DroppingWhatThenReturnsLeavesTheContinuationAlone) {
    Promise<TypeParam> promise;
    bool ran = false;
    {
        auto const dropped = promise.get_future().then([&](Future<TypeParam>) { ran = true; });
    }
    this->complete(promise);
    EXPECT_TRUE(ran);
}

TYPED_TEST(FutureOf, FutureThatGoesDropsItsContinuationAndALaterResultCallsNothing) {
    Promise<TypeParam> promise;
    auto held = std::make_shared<int>(0);
    {
        Future<TypeParam> const sut = promise.get_future();
        Access::state(sut).m_continuation = [held] { ++*held; };
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1) << "the continuation is destroyed with the future";
    this->complete(promise);
    EXPECT_EQ(*held, 0);
}

TYPED_TEST(FutureOf, ContinuationMayEndThePromiseThatRunsIt) {
    auto promise = std::make_unique<Promise<TypeParam>>();
    int runs = 0;
    promise->get_future().then([&](Future<TypeParam> result) {
        ++runs;
        promise.reset();  // as a next call does that comes in before this one's answer is through
        result.get();
    });
    this->complete(*promise);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(promise, nullptr);
}

TYPED_TEST(FutureOf, ContinuationMayReplaceThePromiseThatRunsIt) {
    Promise<TypeParam> promise;
    std::vector<int> order;
    promise.get_future().then([&](Future<TypeParam>) {
        promise = Promise<TypeParam>();
        promise.get_future().then([&](Future<TypeParam>) { order.push_back(2); });
        order.push_back(1);
    });
    this->complete(promise);
    EXPECT_EQ(order, (std::vector{1}));
    this->complete(promise);
    EXPECT_EQ(order, (std::vector{1, 2}));
}

TYPED_TEST(FutureOf, WhatContinuationsHoldIsReleasedAfterTheyRan) {
    auto held = std::make_shared<int>();
    {
        Promise<TypeParam> promise;
        promise.get_future().then([held](Future<TypeParam>) {});
        this->complete(promise);
        EXPECT_EQ(held.use_count(), 1);
    }
    {
        Promise<TypeParam> promise;
        promise.get_future().then([held](Future<TypeParam>) {});
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Future, FailuresAreWordedAsTheStandardLibraryWordsThem) {
    auto const textOf = [](auto const& action) -> std::string {
        try {
            action();
        } catch (std::future_error const& error) {
            return error.what();
        }
        return "nothing thrown";
    };
    Future<void> broken = Promise<void>().get_future();
    EXPECT_EQ(textOf([&] { broken.get(); }), "std::future_error: Broken promise");
    Promise<void> complete;
    auto future = complete.get_future();
    complete.set_value();
    EXPECT_EQ(textOf([&] { complete.get_future(); }), "std::future_error: Future already retrieved");
    EXPECT_EQ(textOf([&] { complete.set_value(); }), "std::future_error: Promise already satisfied");
    EXPECT_EQ(textOf([] { Future<void>().get(); }), "std::future_error: No associated state");
    Promise<void> const moved = std::move(complete);
    EXPECT_EQ(textOf([&] { complete.set_value(); }), "std::future_error: No associated state");
    EXPECT_EQ(textOf([] { Future<void>().then([](Future<void>) {}); }),
              "std::future_error: No associated state");
}

TEST(Future, ChainPassesResultsOn) {
    Promise<int> promise;
    auto text = promise.get_future()
                    .then([](Future<int> number) { return number.get() + 1; })
                    .then([](Future<int> number) { return std::to_string(number.get()); });
    promise.set_value(41);
    EXPECT_EQ(text.get(), "42");
}

TEST(Future, ExceptionOfAContinuationGoesDownTheChainAndNotToTheCompletingThread) {
    Promise<void> promise;
    bool skipped = true;
    auto end = promise.get_future()
                   .then([](Future<void>) -> int { throw std::logic_error("mine"); })
                   .then([&](Future<int> number) {
                       number.get();
                       skipped = false;
                   });
    EXPECT_NO_THROW(promise.set_value());
    EXPECT_TRUE(skipped);
    EXPECT_THROW(end.get(), std::logic_error);
}

TEST(Future, ExceptionThatIsNoStdExceptionTravelsToo) {
    Promise<void> promise;
    auto end = promise.get_future().then([](Future<void>) { throw 5; });
    EXPECT_NO_THROW(promise.set_value());
    EXPECT_THROW(end.get(), int);
}

TEST(Future, ContinuationDroppedWithItsFutureBreaksTheChainBehindIt) {
    Promise<int> promise;
    std::error_code code;
    {
        Promise<int> inner;
        auto chained = inner.get_future().then([](Future<int> result) { return result.get(); });
        chained.then([&](Future<int> result) { code = codeOf([&] { result.get(); }); });
    }
    EXPECT_EQ(code.value(), 4);
}

TEST(Future, LargeMoveOnlyContinuationIsAccepted) {
    struct Mover {
        std::unique_ptr<int> value = std::make_unique<int>(3);
        int operator()(Future<int> result) { return result.get() * *value; }
    };
    Promise<int> promise;
    auto product = promise.get_future().then(Mover{});
    promise.set_value(5);
    EXPECT_EQ(product.get(), 15);
}

TEST(Future, NoLockIsHeldWhileAContinuationRuns) {
    Promise<void> promise;
    std::mutex& mutex = Access::state(promise).m_mutex;
    bool free = false;
    promise.get_future().then([&](Future<void>) {
        free = mutex.try_lock();
        if (free) {
            mutex.unlock();
        }
    });
    promise.set_value();
    EXPECT_TRUE(free);
}

TEST(Future, ResultIsStoredBeforeTheContinuationRuns) {
    Promise<int> promise;
    std::future_status status{};
    promise.get_future().then([&](Future<int> result) { status = result.wait_for(std::chrono::seconds(0)); });
    promise.set_value(1);
    EXPECT_EQ(status, std::future_status::ready);
}

TEST(Future, HookRunsWhenTheFutureGoes) {
    Promise<int> promise;
    int calls = 0;
    Access::state(promise).m_onFutureGone = [&] { ++calls; };
    { Future<int> const sut = promise.get_future(); }
    EXPECT_EQ(calls, 1);
    promise.set_value(1);
    EXPECT_EQ(calls, 1);
}

TEST(Future, HookTravelsDownAChain) {
    Promise<int> promise;
    int calls = 0;
    Access::state(promise).m_onFutureGone = [&] { ++calls; };
    {
        auto const end =
            promise.get_future().then([](Future<int> r) { return r.get(); }).then([](Future<int>) {});
        EXPECT_EQ(calls, 0);
    }
    EXPECT_EQ(calls, 1) << "of the end that was dropped";
    promise.set_value(1);
    EXPECT_EQ(calls, 3) << "and of the two futures that the continuations took";
}

TEST(Future, ExceptionOfAHookDoesNotLeaveTheDestructor) {
    Promise<int> promise;
    Access::state(promise).m_onFutureGone = [] { throw std::runtime_error("hook"); };
    EXPECT_NO_THROW({ Future<int> const gone = promise.get_future(); });
}

TEST(Future, HookRunsWithoutTheLock) {
    Promise<int> promise;
    bool locked = false;
    auto& state = Access::state(promise);
    state.m_onFutureGone = [&] {
        locked = state.m_mutex.try_lock();
        if (locked) {
            state.m_mutex.unlock();
        }
    };
    { Future<int> const sut = promise.get_future(); }
    EXPECT_TRUE(locked);
}

TEST(Future, ContinuationThatOwnsAnotherFutureOfTheSameStateDoesNotLockTwice) {
    // The dropped continuation is the last owner of a future of its own.
    Promise<int> promise;
    Promise<int> other;
    auto const owned = std::make_shared<Future<int>>(other.get_future());
    {
        Future<int> const sut = promise.get_future();
        Access::state(sut).m_continuation = [owned,
                                             taken = std::make_shared<Future<int>>(std::move(*owned))] {};
    }
    EXPECT_NO_THROW(other.set_value(1));
}

TEST(Future, WaitForTellsWhetherTheResultIsThere) {
    Promise<void> promise;
    Future<void> const sut = promise.get_future();
    EXPECT_EQ(sut.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    promise.set_value();
    sut.wait();
    EXPECT_EQ(sut.wait_for(std::chrono::seconds(0)), std::future_status::ready);
}

TEST(Future, ThrowingCopyOfAValueLeavesThePromiseOpen) {
    struct Fragile {
        Fragile() = default;
        Fragile(Fragile const&) { throw std::runtime_error("copy"); }
        Fragile(Fragile&&) = default;
    };
    Promise<Fragile> promise;
    int runs = 0;
    promise.get_future().then([&](Future<Fragile>) { ++runs; });
    Fragile const value;
    EXPECT_THROW(promise.set_value(value), std::runtime_error);
    EXPECT_EQ(runs, 0);
    promise.set_value(Fragile{});
    EXPECT_EQ(runs, 1);
}

TEST(Future, PromisesAndFuturesMoveAndDoNotCopy) {
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<Promise<int>>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<Future<int>>);
    EXPECT_FALSE(std::is_copy_constructible_v<Promise<int>>);
    EXPECT_FALSE(std::is_copy_constructible_v<Future<int>>);
}

}  // namespace
}  // namespace eb::com
