#include "binding/proxy/Callout.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "binding/proxy/Event_cache.h"

namespace ac::com::cpp_binding {
namespace {

struct Mute : std::exception {
    char const* what() const noexcept override { return nullptr; }
};

TEST(Callout, ExceptionIsToldByItsText) {
    EXPECT_EQ(to_string(std::make_exception_ptr(std::runtime_error("no sample"))), "Exception: no sample");
}

TEST(Callout, ExceptionWithoutATextIsToldAsThat) {
    EXPECT_EQ(to_string(std::make_exception_ptr(Mute())), "what() returned null ptr");
}

TEST(Callout, WhatIsNoExceptionOfTheLibraryIsToldToo) {
    EXPECT_EQ(to_string(std::make_exception_ptr(7)), "Exception: not a std::exception");
    EXPECT_EQ(to_string(nullptr), "Exception: none");
}

TEST(Callout, WhatAFunctionThrowsIsHandedOverAndGoesNoFurther) {
    std::string told;
    apply_callout_with_on_exception([] { throw std::runtime_error("thrown"); },
                                    [&](std::exception_ptr const& thrown) { told = to_string(thrown); });
    EXPECT_EQ(told, "Exception: thrown");
}

TEST(Callout, FunctionThatReturnsTellsNothing) {
    bool called = false;
    apply_callout_with_on_exception([&] { called = true; }, [](std::exception_ptr const&) { FAIL(); });
    EXPECT_TRUE(called);
}

TEST(Callout, HandlersMayTakeHalfASecond) {
    EXPECT_EQ(proxy::FIND_HANDLER_LIMIT, 500U);
    EXPECT_EQ(proxy::EVENT_HANDLER_LIMIT, 500U);
}

namespace cache = proxy::detail;
using Policy = proxy::Event_cache_update_policy;
using Samples = std::vector<proxy::Sample>;

Samples samples(int first, int last) {
    Samples made;
    for (int i = first; i <= last; ++i) {
        made.push_back(std::make_shared<int const>(i));
    }
    return made;
}

std::vector<int> numbers(Samples const& samples) {
    std::vector<int> numbers;
    for (auto const& sample : samples) {
        numbers.push_back(sample ? *static_cast<int const*>(sample.get()) : 0);
    }
    return numbers;
}

TEST(Event_cache, SamplesFillItFromTheOldest) {
    Samples sut(3);
    EXPECT_TRUE(cache::copy_samples_to_cache(samples(1, 2), Policy::last_n, sut));
    EXPECT_EQ(numbers(sut), (std::vector{1, 2, 0}));
}

TEST(Event_cache, LastSamplesStayUntilNewerOnesNeedTheirRoom) {
    Samples sut(3);
    cache::copy_samples_to_cache(samples(1, 2), Policy::last_n, sut);
    EXPECT_TRUE(cache::copy_samples_to_cache(samples(3, 4), Policy::last_n, sut));
    EXPECT_EQ(numbers(sut), (std::vector{2, 3, 4}));
    EXPECT_FALSE(cache::copy_samples_to_cache({}, Policy::last_n, sut));
    EXPECT_EQ(numbers(sut), (std::vector{2, 3, 4}));
}

TEST(Event_cache, NewestSamplesStandAlone) {
    Samples sut(3);
    cache::copy_samples_to_cache(samples(1, 3), Policy::newest_n, sut);
    EXPECT_TRUE(cache::copy_samples_to_cache(samples(4, 4), Policy::newest_n, sut));
    EXPECT_EQ(numbers(sut), (std::vector{4, 0, 0}));
    EXPECT_FALSE(cache::copy_samples_to_cache({}, Policy::newest_n, sut));
    EXPECT_EQ(numbers(sut), (std::vector{0, 0, 0}));
}

TEST(Event_cache, OfMoreThanFitTheNewestAreKept) {
    for (Policy const policy : {Policy::last_n, Policy::newest_n}) {
        Samples sut(2);
        EXPECT_TRUE(cache::copy_samples_to_cache(samples(1, 100), policy, sut));
        EXPECT_EQ(numbers(sut), (std::vector{99, 100}));
    }
}

TEST(Event_cache, WithoutRoomNothingIsTaken) {
    Samples sut;
    EXPECT_FALSE(cache::copy_samples_to_cache(samples(1, 1), Policy::last_n, sut));
    EXPECT_TRUE(sut.empty());
}

}  // namespace
}  // namespace ac::com::cpp_binding
