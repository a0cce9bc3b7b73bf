// Losses, notifications, requests and the end, at random moments of each other. Sizes grow with a sanitizer,
// or by DIAG_STRESS_CYCLES.
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>

#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

#ifdef DIAG_ARA_SANITIZED_ADDRESS
constexpr int CYCLES = 2000;
constexpr bool SANITIZED = true;
#elif defined(DIAG_ARA_SANITIZED_THREAD)
constexpr int CYCLES = 500;
constexpr bool SANITIZED = true;
#else
constexpr int CYCLES = 300;
constexpr bool SANITIZED = false;
#endif

int cycles() {
    char const* const wanted = std::getenv("DIAG_STRESS_CYCLES");
    return wanted != nullptr ? std::max(1, std::atoi(wanted)) : CYCLES;
}

class Stress : public ClientTest {
protected:
    Stress() { std::printf("seed %u\n", m_seed); }

    void TearDown() override {
        std::printf("%s\n", m_figures.c_str());
        ClientTest::TearDown();
    }

    /// Lets a random time go by, from none to that long.
    void pause(microseconds most) {
        auto const end = Clock::now() + microseconds(m_random() % static_cast<unsigned>(most.count()));
        while (Clock::now() < end) std::this_thread::yield();
    }

    static DataService::Behaviour silent() {
        return [](std::uint32_t, DataService::Reply const&) {};
    }

    static double msSince(Clock::time_point begin) {
        return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    }

    unsigned const m_seed = std::random_device{}();
    std::mt19937 m_random{m_seed};
    std::string m_figures;
};

TEST_F(Stress, ServiceIsLostAtAnyMomentOfARead) {
    // Given reads that take their time, or for ever
    service.behave([this](std::uint32_t record, DataService::Reply const& reply) {
        if (record == R255) return;
        for (unsigned i = record % 50; i > 0; --i) std::this_thread::yield();
        service.answer(record, reply);
    });
    service.setValue(R149, Bytes(500, 7));
    // A read left over from the time before can stand in the way of the next subscription for so long.
    setAnswerWait(milliseconds(500));
    registerJava();
    double longest = 0;
    int const total = cycles();
    for (int cycle = 0; cycle < total; ++cycle) {
        // When
        log.clear();
        service.offer();
        ASSERT_TRUE(awaitLine("DataValuesHash.Subscribe()")) << "cycle " << cycle;
        deliver(GET_ADAPTATIONSET_REQ, setRequest(1, {A149, A312, A255}));
        deliver(GET_ADAPTATION_REQ, request(A149, 2));
        if (cycle % 3 == 0) service.notify(hashes({0, 0}));
        pause(microseconds(2000));
        auto const begin = Clock::now();
        service.withdraw();
        // Then none of them holds the loss back
        ASSERT_TRUE(awaitLine("Service lost")) << "cycle " << cycle;
        longest = std::max(longest, msSince(begin));
    }
    unregisterJava();
    m_figures = std::to_string(total) + " losses, told after " + std::to_string(longest) + " ms at most";
}

TEST_F(Stress, UnregisterUnderLoadTakesOneWaitAtMost) {
    constexpr milliseconds WAIT{20};
    constexpr milliseconds MARGIN{5000};
    setAnswerWait(WAIT);
    service.behave(silent());
    service.offer();
    std::vector<double> times;
    int const total = SANITIZED ? 500 : std::min(500, cycles());
    for (int cycle = 0; cycle < total; ++cycle) {
        log.clear();
        registerJava();
        auto const load = [this] {
            for (int i = 0; i < 3; ++i) {
                write(GET_ADAPTATIONSET_REQ, setRequest(1, std::vector<unsigned>(64, A149)));
                write(GET_ADAPTATION_REQ, request(A149, 2));
            }
        };
        std::thread java2(load);
        load();
        if (cycle % 2 == 0) service.notify(hashes({0}));
        pause(microseconds(1000));
        auto const begin = Clock::now();
        unregisterJava();
        times.push_back(msSince(begin));
        java2.join();
    }
    std::sort(times.begin(), times.end());
    EXPECT_LT(times.back(), static_cast<double>((WAIT + MARGIN).count()));
    m_figures = std::to_string(total) + " times unregistered, with a wait of 20 ms: median " +
                std::to_string(times[times.size() / 2]) + " ms, longest " + std::to_string(times.back()) +
                " ms";
}

TEST_F(Stress, AllOfItSideBySideEndsInOrder) {
    setAnswerWait(milliseconds(5));
    for (int round = 0; round < std::min(cycles() / 10, 50); ++round) {
        log.clear();
        registerJava();
        std::atomic<bool> over{false};
        std::thread offers([&] {
            for (int i = 0; i < 10; ++i) {
                service.offer();
                service.notify(hashes({0, 1, 0}));
                std::this_thread::yield();
                if (i % 3 == 0) service.notify(hashes({}));
                service.withdraw();
            }
            service.offer();
            over = true;
        });
        std::thread requests([&] {
            while (!over) {
                write(GET_ADAPTATIONSET_REQ, setRequest(1, {A149, A255, A312, A316}));
                write(GET_ADAPTATION_REQ, request(A316, 1));
                write(600, {});
                write(ADAPTATION_IND, u32(A149) + Bytes{0});
            }
        });
        pause(microseconds(20000));
        unregisterJava();
        offers.join();
        requests.join();
        service.withdraw();
    }
}

// A service that never answers must not let the calls given up pile up beyond its own life.
TEST_F(Stress, TimeOutsLeaveNothingBehindOnceTheServiceIsLost) {
    tDiagmgrGetAdaptationsetReqds set{};
    set.length = 64;
    std::fill(std::begin(set.adaptationIds), std::end(set.adaptationIds), tDiagMgrAdaptationID{A149});
    service.behave(silent());
    setAnswerWait(milliseconds(0));
    registerJava();
    auto const round = [&](std::size_t sets) {
        log.clear();
        service.offer();
        EXPECT_TRUE(awaitLine("Message not sent to Java"));
        std::size_t const begun = service.requests().size();
        for (std::size_t i = 0; i < sets; ++i) {
            log.clear();
            listener().handleGetDiagnosticDataValues(set, false);
        }
        EXPECT_TRUE(service.awaitRequests(begun + 64 * sets));
        std::size_t const open = mallinfo2().uordblks;
        log.clear();
        service.withdraw();
        EXPECT_TRUE(awaitLine("Service lost"));
        service.forgetRequests();
        log.clear();
        return open;
    };
    round(10);
    std::size_t const before = mallinfo2().uordblks;
    std::size_t const open = round(SANITIZED ? 20 : 157);
    // The calls end on threads of the runtime, each with a line in the log.
    auto const growth = [&] {
        log.clear();
        return static_cast<long>(mallinfo2().uordblks) - static_cast<long>(before);
    };
    auto const end = Clock::now() + PATIENCE;
    if (SANITIZED) return;  // its heap tells nothing of growth; what was kept for good it tells by itself
    while (growth() >= 1024 * 1024 && Clock::now() < end) std::this_thread::yield();
    EXPECT_LT(growth(), 1024 * 1024);
    m_figures = "10048 time-outs: " + std::to_string((open - before) / 1024) +
                " KiB while the service is there, " + std::to_string(growth() / 1024) + " KiB after its loss";
}

}  // namespace
}  // namespace client_test
