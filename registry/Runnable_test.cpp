#include "registry/Runnable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "tests/support/DiagLog.h"

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
    EXPECT_THAT(log.errors(), ElementsAre("Unsupported message 2350", "Unsupported message -1"));
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

TEST(RunnableTest, ThreadThatRemovedItselfIsNotWaitedFor) {
    Plain component;
    std::promise<void> removed;
    std::promise<void> release;
    std::promise<void> gone;
    component.startThread([&] {
        component.removeThisThread();
        removed.set_value();
        release.get_future().wait();
        gone.set_value_at_thread_exit();
    });
    removed.get_future().wait();
    component.joinAndRemoveAllthreads();  // would hang
    release.set_value();
    gone.get_future().wait();
}

TEST(RunnableTest, RemovingItselfTwiceLeavesTheOthersAlone) {
    Plain component;
    std::promise<void> removed;
    std::atomic<int> ended{0};
    std::promise<void> release;
    auto const released = release.get_future().share();
    component.startThread([&] {
        released.wait();
        ++ended;
    });
    component.startThread([&] {
        component.removeThisThread();
        component.removeThisThread();
        removed.set_value_at_thread_exit();
    });
    component.startThread([&] {
        released.wait();
        ++ended;
    });
    removed.get_future().wait();
    release.set_value();
    component.joinAndRemoveAllthreads();
    EXPECT_EQ(ended, 2);
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

TEST(RunnableTest, EvenTheQuickestThreadFindsItselfListed) {
    // A thread that is listed only after it has removed itself would stay, finished, until the component
    // ends.
    for (int i = 0; i < 500; ++i) {
        Plain component;
        std::promise<bool> detached;
        component.startThread([&] {
            component.removeThisThread();
            detached.set_value_at_thread_exit(true);
        });
        ASSERT_TRUE(detached.get_future().get());
        // Nothing is left to join: were the thread still listed, this would join it, and TSan count it.
        component.joinAndRemoveAllthreads();
    }
}

}  // namespace
