#pragma once

#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/routine/test/Routines.h"

namespace routine_test {

constexpr ara::log::LogLevel DETAIL = ara::log::LogLevel::kInfo;
constexpr ara::log::LogLevel INFO = ara::log::LogLevel::kInfo;
constexpr std::size_t IN_FLIGHT = 10;  // of one server

/// The registered server of each routine in turn.
class ServerTest : public Vehicle, public testing::WithParamInterface<Routine> {
protected:
    void SetUp() override {
        waitMilliseconds = 0;
        Vehicle::SetUp();
    }

    Routine const& sut = GetParam();

    Ids ids(std::uint32_t transaction, Method method) const { return {sut.id, transaction, control(method)}; }

    /// What a method's client gets if Java says nothing good.
    static std::string failure(Method method) { return method == REQUEST_RESULTS ? "20" : ""; }

    void expectReply(std::shared_ptr<Call> const& call, std::string const& payload) {
        ASSERT_TRUE(call->await());
        EXPECT_EQ(call->returnCode(), 0);
        EXPECT_EQ(hex(call->payload()), payload);
    }

    /// As many as can be in flight, all at Java.
    std::vector<std::shared_ptr<Call>> fill() {
        std::vector<std::shared_ptr<Call>> calls;
        for (std::size_t i = 0; i < IN_FLIGHT; ++i) calls.push_back(call(sut, REQUEST_RESULTS));
        awaitRequest(IN_FLIGHT);
        return calls;
    }
    /// The same with the methods in turn.
    std::vector<std::pair<Method, std::shared_ptr<Call>>> fillWithAll() {
        std::vector<std::pair<Method, std::shared_ptr<Call>>> calls;
        for (std::size_t i = 0; i < IN_FLIGHT; ++i) {
            Method const method = METHODS[i % std::size(METHODS)];
            calls.emplace_back(method, call(sut, method));
        }
        awaitRequest(IN_FLIGHT);
        return calls;
    }
};

}  // namespace routine_test
