#include "registry/Runnable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>

#include "tests/support/DiagLog.h"
#include "tests/support/Patience.h"

namespace {

using testing::ElementsAre;
using zvg::val::diag_ara::services::Runnable;

class Plain : public Runnable {
public:
    ~Plain() override { joinAndRemoveAllthreads(); }
    void init(std::string) override {}
    void start() override {}
    void setProcessed() { m_processed = true; }
};

TEST(RunnableTest, AnswersAnyMessageAsUnsupportedUnlessOverridden) {
    test::DiagLog log;
    Plain component;
    unsigned char byte = 0;
    EXPECT_EQ(component.handleMsg(2350, 1, &byte), 4);
    EXPECT_EQ(component.handleMsg(-1, 0, nullptr), 4);
    EXPECT_THAT(log.story(), ElementsAre("2 handleMsg() Unsupported message 2350",
                                         "2 handleMsg() Unsupported message -1"));
}

TEST(RunnableTest, StopIsAQueryThatDestroyAnswers) {
    Plain component;
    EXPECT_FALSE(component.stop());
    EXPECT_FALSE(component.stop());
    component.destroy();
    EXPECT_TRUE(component.stop());
    component.destroy();
    EXPECT_TRUE(component.stop());
}

TEST(RunnableTest, ProcessedTellsTheFlag) {
    Plain component;
    EXPECT_FALSE(component.processed());
    component.setProcessed();
    EXPECT_TRUE(component.processed());
}

TEST(RunnableTest, DestroyEndsALoopThatAsksForIt) {
    Plain component;
    component.startThread([&] {
        while (!component.stop()) std::this_thread::yield();
    });
    component.destroy();
    component.joinAndRemoveAllthreads();
}

TEST(RunnableTest, JoiningAnEmptyListReturnsAtOnce) {
    Plain component;
    component.joinAndRemoveAllthreads();
    component.joinAndRemoveAllthreads();
}

TEST(RunnableTest, JoinsEveryThreadThatWasAdded) {
    Plain component;
    std::atomic<int> ended{0};
    for (int i = 0; i < 10; ++i) component.addThread(std::thread([&] { ++ended; }));
    component.joinAndRemoveAllthreads();
    EXPECT_EQ(ended, 10);
}

TEST(RunnableTest, RemovingAThreadThatIsNotListedChangesNothing) {
    Plain component;
    std::atomic<bool> ended{false};
    component.addThread(std::thread([&] { ended = true; }));
    component.removeThisThread();  // the test's own thread
    component.joinAndRemoveAllthreads();
    EXPECT_TRUE(ended) << "the listed thread was still there to be joined";
}

TEST(RunnableTest, EvenTheQuickestThreadThatRemovesItselfIsNotWaitedFor) {
    // One that could remove itself before it is listed would stay listed, and the join below would hang.
    for (int i = 0; i < 200; ++i) {
        Plain component;
        auto const removed = std::make_shared<std::promise<void>>();
        auto const release = std::make_shared<std::promise<void>>();
        auto isRemoved = removed->get_future();
        component.startThread([&component, removed, released = release->get_future().share()] {
            component.removeThisThread();
            removed->set_value();
            released.wait();
        });
        isRemoved.wait();
        component.joinAndRemoveAllthreads();
        release->set_value();
    }
}

TEST(RunnableTest, RemovingItselfTwiceLeavesTheOthersAlone) {
    Plain component;
    std::atomic<int> ended{0};
    std::promise<void> release;
    auto const released = release.get_future().share();
    auto const waits = [&] {
        released.wait();
        ++ended;
    };
    auto const removed = std::make_shared<std::promise<void>>();
    auto isRemoved = removed->get_future();
    component.startThread(waits);
    component.startThread([&component, removed] {
        component.removeThisThread();
        component.removeThisThread();
        removed->set_value();
    });
    component.startThread(waits);
    isRemoved.wait();
    release.set_value();
    component.joinAndRemoveAllthreads();
    EXPECT_EQ(ended, 2);
}

TEST(RunnableTest, RemovingItselfLeavesEveryOtherThreadToBeJoined) {
    // Given five listed threads, of which the middle one removes itself and stays alive until all is over
    Plain component;
    std::atomic<int> ended{0};
    std::promise<void> release;
    auto const released = release.get_future().share();
    auto const over = std::make_shared<std::promise<void>>();
    auto const waits = [&] {
        released.wait();
        for (int i = 0; i < 200; ++i) std::this_thread::yield();
        ++ended;
    };
    auto const removed = std::make_shared<std::promise<void>>();
    for (int i = 0; i < 2; ++i) component.startThread(waits);
    component.startThread([&component, removed, isOver = over->get_future().share()] {
        component.removeThisThread();
        removed->set_value();
        isOver.wait();
    });
    for (int i = 0; i < 2; ++i) component.startThread(waits);
    removed->get_future().wait();
    // When
    release.set_value();
    auto joined = std::async(std::launch::async, [&] { component.joinAndRemoveAllthreads(); });
    // Then
    EXPECT_EQ(joined.wait_for(test::PATIENCE), std::future_status::ready)
        << "it waits for the one that has gone";
    over->set_value();
    joined.get();
    EXPECT_EQ(ended, 4);
}

TEST(RunnableTest, IsNeitherProcessedNorStoppedAtFirst) {
    Plain component;
    EXPECT_FALSE(component.processed());
    EXPECT_FALSE(component.stop());
    component.destroy();
    EXPECT_FALSE(component.processed()) << "that is another flag";
}

TEST(RunnableTest, ThreadMayRemoveItselfWhileItIsBeingJoined) {
    Plain component;
    std::promise<void> joining;
    component.startThread([&] {
        joining.get_future().wait();
        component.removeThisThread();  // takes the lock that the join must not hold
    });
    std::thread joiner([&] {
        joining.set_value();
        component.joinAndRemoveAllthreads();
    });
    joiner.join();
}

}  // namespace
