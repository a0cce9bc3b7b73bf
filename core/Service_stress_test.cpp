// Senders and writers that know nothing of the bridge going up and down. Interesting under the thread
// sanitizer.

#include <atomic>
#include <thread>

#include "tests/support/BridgeTest.h"

namespace {

using zvg::val::eValNotReady;
using zvg::val::eValOk;

class BridgeStress : public test::BridgeTest {};

TEST_F(BridgeStress, SendersSeeTheBridgeWhollyUpOrWhollyDown) {
    constexpr int CYCLES = 3000;
    constexpr int SENDERS = 4;
    zvg::val::Trace::mLogLevel = 0;
    std::atomic<bool> done{false};
    std::atomic<std::size_t> delivered{0};
    std::atomic<int> unexpected{0};

    std::vector<std::thread> threads;
    for (int i = 0; i < SENDERS; ++i) {
        threads.emplace_back([&] {
            tValDiagnosticsrequestIndds record{};
            while (!done) {
                auto const status = service.sendMsg(2, &record, PackValDiagnosticsrequestInd, true);
                if (status == eValOk) ++delivered;
                if (status != eValOk && status != eValNotReady) ++unexpected;
                std::this_thread::yield();  // the lock isn't fair: init would wait for long behind four of
                                            // these
            }
        });
    }
    threads.emplace_back([&] {
        while (!done) {
            write(test::Components::BOTH_A_AND_B, {1, 2}, 2);
            std::this_thread::yield();
        }
    });
    for (int cycle = 0; cycle < CYCLES; ++cycle) {
        ASSERT_EQ(service.init(jvm.env(), jvm.listener()), 0);
        if (cycle % 10 == 0) {
            auto const before = delivered.load();
            for (int patience = 0; delivered == before && patience < 1'000'000; ++patience)
                std::this_thread::yield();
        }
        ASSERT_EQ(service.deinit(jvm.env()), 0);
    }
    done = true;
    for (auto& thread : threads) thread.join();

    EXPECT_EQ(unexpected, 0);
    EXPECT_GT(delivered, 0U);
    EXPECT_EQ(jvm.count("CallVoidMethod"), delivered);
    EXPECT_EQ(jvm.globalRefs(), 0U);
    EXPECT_EQ(jvm.attachedThreads(), 0U);
    EXPECT_EQ(jvm.pinnedArrays(), 0U);
}

}  // namespace
