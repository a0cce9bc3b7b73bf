// States, questions for them and teardown from several threads at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/runtime/Component_singleton.h>

#include <atomic>
#include <thread>

#include "servers/dtc/DiagnosticsMonitorSkeleton_impl.h"
#include "servers/dtc/test/Manager.h"
#include "servers/dtc/test/Messages.h"
#include "tests/support/Connector.h"
#include "tests/support/DiagLog.h"

namespace dtc_test {
namespace {

using ac::dm::types::InitMonitorReasonType;
using ac::dm::types::MonitorActionType;
using eb::com::runtime::Call_outcome;
using zvg::val::diag_ara::services::diagnosticsmonitor::methods::DiagnosticsMonitorSkeleton_impl;

constexpr unsigned long TROUBLE_CODE = 0x81A2E1;

class Stress : public testing::Test {
protected:
    test::DiagLog log;
    fake::Jvm jvm;
    fake::Connector java{jvm};
};

TEST_F(Stress, FirstQuestionThatFindsAStateFindsTheRightOne) {
    // Given that the state a monitor is born with differs from the one that is set
    std::string const instance = ac::dm::dem::DiagnosticMonitor::instance(TROUBLE_CODE);
    for (int i = 0; i < 300; ++i) {
        DiagnosticsMonitorSkeleton_impl monitor(instance);
        std::atomic<bool> set{false};
        std::thread manager([&] {
            while (!set) monitor.InitMonitor(InitMonitorReasonType::kClear).get();
        });
        monitor.setDtcState(MonitorActionType::kFailed);
        set = true;
        manager.join();
        log.clear();
        monitor.InitMonitor(InitMonitorReasonType::kClear).get();
        for (auto const& line : log.lines()) {
            EXPECT_THAT(line.text, testing::HasSubstr(" DTC State 1 reason 0"));
        }
    }
}

TEST_F(Stress, QuestionsWhileStatesAreSetAreAllAnsweredAndTheLastStateStays) {
    // Given
    ASSERT_EQ(java.registerListener(), 0);
    Manager manager(TROUBLE_CODE);
    Manager other(TROUBLE_CODE);
    ASSERT_TRUE(manager.awaitSubscribed());
    // When
    std::atomic<bool> done{false};
    std::atomic<std::size_t> questions{0};
    auto const ask = [&](Manager& who) {
        while (!done) {
            EXPECT_EQ(who.initMonitor({1}).return_code, 0);
            ++questions;
        }
    };
    std::thread first(ask, std::ref(manager));
    std::thread second(ask, std::ref(other));
    constexpr unsigned STATES = 1001;
    for (unsigned i = 0; i < STATES || questions < 100; ++i) {
        EXPECT_EQ(java.write(SET_STATUS, message(TROUBLE_CODE, i % 2)), 0);
    }
    EXPECT_EQ(java.write(SET_STATUS, message(TROUBLE_CODE, 1)), 0);
    done = true;
    first.join();
    second.join();
    // Then
    EXPECT_EQ(manager.initMonitor({1}).return_code, 0);
    ASSERT_TRUE(manager.awaitLast({1}));
    java.unregister();
}

TEST_F(Stress, TeardownWaitsForQuestionsUnderWay) {
    Manager manager(TROUBLE_CODE);
    for (int i = 0; i < 30; ++i) {
        ASSERT_EQ(java.registerListener(), 0);
        EXPECT_EQ(java.write(SET_STATUS, message(TROUBLE_CODE, 1)), 0);
        std::atomic<unsigned> answers{0};
        std::atomic<bool> gone{false};
        std::thread asking([&] {
            while (!gone) {
                auto const reply = manager.initMonitor({0});
                bool const good = reply.outcome == Call_outcome::answered && reply.return_code == 0;
                answers += good ? 1 : 0;
                if (!good && answers != 0) return;
            }
        });
        while (answers < 3) std::this_thread::yield();
        EXPECT_EQ(java.unregister(), 0);
        gone = true;
        asking.join();
        EXPECT_NE(manager.initMonitor({0}).outcome, Call_outcome::answered);
    }
}

}  // namespace
}  // namespace dtc_test
