// Routines and trouble codes: the whole program against real skeletons, over the real runtime.
#include <atomic>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ac/com/runtime/Component_singleton.h>

#include "binding/generated/DiagnosticMonitor.h"
#include "binding/generated/all.h"
#include "tools/tester/CommandLine.h"

namespace tester {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace zvg::services::diag;

eb::com::Future<void> done() {
    eb::com::Promise<void> promise;
    promise.set_value();
    return promise.get_future();
}

class Routine final : public r_0689::skeleton::RoutineService_TransferParametersFromATNSkeleton {
public:
    Routine() : RoutineService_TransferParametersFromATNSkeleton("1", 1) { OfferService(); }
    ~Routine() override { StopOfferService(); }

    eb::com::Future<void> Cancel(Meta const&) override { return called("Cancel"); }
    eb::com::Future<void> Start(Meta const&) override { return called("Start"); }
    eb::com::Future<void> Stop(Meta const&) override { return called("Stop"); }
    eb::com::Future<r_0689::RequestResults::Output> RequestResults(Meta const&) override {
        eb::com::Promise<r_0689::RequestResults::Output> promise;
        promise.set_value(r_0689::RequestResults::Output{0x31});
        return promise.get_future();
    }

    std::vector<std::string> calls;  // one at a time in these tests

private:
    eb::com::Future<void> called(char const* method) {
        calls.emplace_back(method);
        return done();
    }
};

class Monitor final : public ac::dm::dem::skeleton::DiagnosticMonitorSkeleton {
public:
    Monitor() : DiagnosticMonitorSkeleton(ac::dm::dem::DiagnosticMonitor::instance(0x81A2E1), 1) {
        OfferService();
    }
    ~Monitor() override { StopOfferService(); }

    eb::com::Future<void> InitMonitor(ac::dm::types::InitMonitorReasonType reason) override {
        reasons.push_back(static_cast<unsigned>(reason));
        return done();
    }

    std::vector<unsigned> reasons;  // one call at a time in these tests
};

class RealRoutineTest : public testing::Test {
protected:
    RealRoutineTest() {
        setenv("ARA_LOG_TARGET", "none", 1);
        runtime.emplace(false, "vehicle");
    }

    int run(std::vector<char const*> arguments) {
        arguments.insert(arguments.begin(), "tester");
        return tester::run(static_cast<int>(arguments.size()), arguments.data(), environment);
    }

    std::ostringstream out;
    std::ostringstream err;
    Environment environment{out, err, false, false, {}, runtimeServices};
    std::optional<ac::com::runtime::Component_singleton> runtime;
};

TEST_F(RealRoutineTest, EachCommandReachesItsMethod) {
    Routine routine;
    for (char const* command : {"start", "stop", "cancel"}) {
        EXPECT_EQ(run({"routine", command, "0689"}), 0) << out.str() << err.str();
    }
    EXPECT_THAT(routine.calls, ElementsAre("Start", "Stop", "Cancel"));
    out.str("");
    EXPECT_EQ(run({"routine", "results", "0689", "--json"}), 0);
    auto const result = nlohmann::json::parse(out.str())["results"][0];
    EXPECT_EQ(result["raw"], "31");
    EXPECT_EQ(result["status"], 3);
    EXPECT_EQ(result["result"], 1);
}

TEST_F(RealRoutineTest, RoutineThatComesWhileTheTesterWaitsIsStarted) {
    std::optional<Routine> routine;
    std::thread vehicle([&] { routine.emplace(); });
    EXPECT_EQ(run({"--wait", "20", "routine", "start", "0689"}), 0) << out.str() << err.str();
    vehicle.join();
    EXPECT_THAT(routine->calls, ElementsAre("Start"));
}

TEST_F(RealRoutineTest, ReasonReachesTheMonitor) {
    Monitor monitor;
    EXPECT_EQ(run({"dtc", "init", "8495841", "--reason", "re-enabled"}), 0) << out.str() << err.str();
    EXPECT_EQ(run({"dtc", "init", "8495841", "--reason", "200"}), 0);
    EXPECT_THAT(monitor.reasons, ElementsAre(2U, 200U));
}

TEST_F(RealRoutineTest, WatchHearsWhatTheMonitorReports) {
    // Given a monitor that comes after the watch, and reports again and again
    std::atomic<bool> ended{false};
    std::thread vehicle([&ended] {
        Monitor monitor;
        while (!ended) {
            monitor.MonitorAction.Send(ac::dm::types::MonitorActionType::kFailed);
            std::this_thread::yield();
        }
    });
    // When
    int const code = run({"dtc", "watch", "--count", "2", "--for", "60"});
    ended = true;
    vehicle.join();
    // Then
    EXPECT_EQ(code, 0) << out.str() << err.str();
    EXPECT_THAT(out.str(), HasSubstr("  8495841  0x81A2E1  --  service available\n"));
    EXPECT_THAT(out.str(), HasSubstr("  8495841  0x81A2E1  --  subscribed\n"));
    EXPECT_THAT(out.str(), HasSubstr("  8495841  0x81A2E1  01  failed\n"));
}

}  // namespace
}  // namespace tester
