// Searches for a service of this process, through the real runtime.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/testing/Data_service.h"
#include "binding/testing/Incidents.h"
#include "binding/testing/Runtime.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

using ac::com::cpp_binding::Find_service_handle;
using ac::com::cpp_binding::log::binding_log;
using ara::log::Capture;
using binding_testing::eventually;
using binding_testing::Gate;
using binding_testing::incidentsOf;
using Proxy_impl = ac::com::cpp_binding::proxy::Proxy_impl<DiagnosticDataDistribution>;
using Handles = std::vector<Proxy_impl::Handle_type>;

std::string const SEARCH = R"("2_service_id":{"1_id":"Service_id","string":")" +
                           std::string(DiagnosticDataDistribution::NAME) +
                           R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"*"})";

class Find_service_test : public testing::Test {
protected:
    Find_service_test() { service.offer(); }

    Find_service_handle start(Proxy_impl::Handler handler) {
        return Proxy_impl::start_find_service(std::move(handler), {"*"}, binding_log());
    }
    /// A handler that keeps what it is told.
    Proxy_impl::Handler keep() {
        return [this](Handles const& handles) {
            std::lock_guard const lock(m_mutex);
            m_found.push_back(handles);
        };
    }
    std::vector<Handles> found() {
        std::lock_guard const lock(m_mutex);
        return m_found;
    }
    bool awaitHandles(std::size_t number) {
        return eventually([&] { return !found().empty() && found().back().size() == number; });
    }

    binding_testing::Runtime m_runtime;
    binding_testing::Data_service service;
    std::mutex m_mutex;
    std::vector<Handles> m_found;  // guarded by m_mutex
};

TEST_F(Find_service_test, OffersComeAndGo) {
    auto search = start(keep());
    EXPECT_TRUE(awaitHandles(1));
    EXPECT_EQ(found().back().at(0).service_handle(),
              (eb::com::runtime::Service_handle{{std::string(DiagnosticDataDistribution::NAME)}, {"1"}}));
    service.withdraw();
    EXPECT_TRUE(awaitHandles(0));
    service.offer();
    EXPECT_TRUE(awaitHandles(1));
    search.stop();
}

TEST_F(Find_service_test, ResultIsToldWithItsInstances) {
    Capture const log;
    auto search = start(keep());
    EXPECT_TRUE(awaitHandles(1));
    search.stop();
    EXPECT_EQ(incidentsOf(log, "Find_service_result").back(),
              R"({"1_incident":{"1_id":"Find_service_result",)" + SEARCH +
                  R"(},"2_data":{"1_found":[{"1_id":"Instance_id","2_string":"1"}]}})");
}

TEST_F(Find_service_test, StartAndStopCanBeToldWithTheSearchesNumber) {
    Capture const log;
    binding_log().trace(
        ac::com::cpp_binding::log::incidents::Find_service_stop{
            {{std::string(DiagnosticDataDistribution::NAME)}, {"*"}}},
        ac::com::cpp_binding::log::Search_number{7});
    EXPECT_THAT(incidentsOf(log, "Find_service_stop"),
                testing::ElementsAre(R"({"1_incident":{"1_id":"Find_service_stop",)" + SEARCH +
                                     R"(},"2_data":{"1_search":7}})"));
}

TEST_F(Find_service_test, EverySearchHasANumberOfItsOwn) {
    auto first = start(keep());
    auto second = start(keep());
    EXPECT_NE(first.number(), 0U);
    EXPECT_EQ(second.number(), first.number() + 1);
    EXPECT_NE(first.strand(), second.strand());
    EXPECT_EQ(Find_service_handle(first).number(), first.number());
    first.stop();
    second.stop();
}

TEST_F(Find_service_test, HandlerRunsOnTheSearchesStrandAndNeverOnTheCallersThread) {
    Gate begun, go;
    std::atomic<bool> elsewhere{false};
    auto const caller = std::this_thread::get_id();
    std::shared_ptr<ac::com::Strand> strand;
    auto search = start([&](Handles const&) {
        EXPECT_TRUE(go.wait());
        elsewhere = std::this_thread::get_id() != caller && strand->running_in_this_thread();
        begun.open();
    });
    strand = search.strand();
    go.open();
    EXPECT_TRUE(begun.wait());
    EXPECT_TRUE(elsewhere);
    search.stop();
}

TEST_F(Find_service_test, HandlerThatThrowsIsToldAndCalledAgain) {
    Capture const log;
    std::atomic<int> calls{0};
    auto search = start([&](Handles const&) {
        ++calls;
        throw std::runtime_error("not this one");
    });
    EXPECT_TRUE(eventually([&] { return calls == 1; }));
    service.withdraw();
    EXPECT_TRUE(eventually([&] { return calls == 2; }));
    search.stop();
    EXPECT_EQ(incidentsOf(log, "Find_service_handler_exception").at(0),
              R"({"1_incident":{"1_id":"Find_service_handler_exception",)" + SEARCH +
                  R"(},"2_data":{"1_what":"Exception: not this one"}})");
}

TEST_F(Find_service_test, HandlerThatTakesTooLongIsTold) {
    Capture const log;
    auto search = start([](Handles const&) { binding_testing::overrunHandlerLimit(); });
    std::string const name = "Find_service_handler_performance";
    EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    search.stop();
    EXPECT_THAT(incidentsOf(log, name).at(0), testing::HasSubstr(SEARCH + R"(,"4_time":)"));
    EXPECT_GE(binding_testing::timeOf(incidentsOf(log, name).at(0)), 501U);
}

TEST_F(Find_service_test, HandlerThatHangsIsReportedWhileItHangs) {
    Capture const log;
    std::string const name = "Find_service_handler_performance";
    std::atomic<bool> reported{false};
    auto search = start([&](Handles const&) {
        EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
        reported = true;
    });
    EXPECT_TRUE(eventually([&] { return reported.load(); }));
    search.stop();
    EXPECT_GE(binding_testing::timeOf(incidentsOf(log, name).at(0)), 1000U);
}

TEST_F(Find_service_test, StopWaitsForTheHandlerThatRuns) {
    Gate inside, go;
    std::atomic<bool> ended{false};
    auto search = start([&](Handles const&) {
        inside.open();
        EXPECT_TRUE(go.wait());
        ended = true;
    });
    EXPECT_TRUE(inside.wait());
    std::thread owner([&] {
        search.stop();
        EXPECT_TRUE(ended);
    });
    go.open();
    owner.join();
}

TEST_F(Find_service_test, NothingIsToldAfterStop) {
    auto search = start(keep());
    EXPECT_TRUE(awaitHandles(1));
    auto const copy = search;
    search.stop();
    std::size_t const before = found().size();
    service.withdraw();
    service.offer();
    auto witness = start(keep());
    EXPECT_TRUE(eventually([&] { return found().size() > before; }));
    witness.stop();
    EXPECT_EQ(found().size(), before + 1);
}

TEST_F(Find_service_test, HandlerMayStopItsSearch) {
    Gate ready, stopped;
    std::optional<Find_service_handle> search;
    search.emplace(start([&](Handles const&) {
        EXPECT_TRUE(ready.wait());
        search->stop();
        search.reset();
        stopped.open();
    }));
    ready.open();
    EXPECT_TRUE(stopped.wait());
}

TEST_F(Find_service_test, CallOfTheHandlerThatStopsTheSearchIsTheLast) {
    Gate ready, go, stopped;
    std::atomic<int> calls{0};
    std::optional<Find_service_handle> search;
    search.emplace(start([&](Handles const&) {
        if (++calls > 1) {
            return;
        }
        ready.open();
        EXPECT_TRUE(go.wait());
        search->stop();
        stopped.open();
    }));
    EXPECT_TRUE(ready.wait());
    // Lists of three changes wait on the strand behind the handler: a later search has heard of the last.
    service.withdraw();
    service.offer();
    service.withdraw();
    auto witness = start(keep());
    EXPECT_TRUE(awaitHandles(0));
    go.open();
    EXPECT_TRUE(stopped.wait());
    search->strand()->internal_wait();
    EXPECT_EQ(calls, 1);
    witness.stop();
}

TEST_F(Find_service_test, CopyOfAStoppedSearchDeliversNothingMore) {
    auto search = start(keep());
    EXPECT_TRUE(awaitHandles(1));
    auto copy = search;
    search.stop();
    std::size_t const before = found().size();
    service.withdraw();
    Gate later;
    auto witness = start([&](Handles const&) { later.open(); });
    EXPECT_TRUE(later.wait());
    witness.stop();
    copy.stop();
    EXPECT_EQ(found().size(), before);
}

TEST_F(Find_service_test, SearchOfAnotherInstanceFindsNothing) {
    auto search = Proxy_impl::start_find_service(keep(), {"2"}, binding_log());
    EXPECT_TRUE(awaitHandles(0));
    search.stop();
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
