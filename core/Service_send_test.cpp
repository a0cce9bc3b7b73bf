// Messages from the components to Java.

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "tests/support/BridgeTest.h"

namespace {

using fake::Message;
using testing::ElementsAre;
using testing::IsEmpty;
using zvg::val::eValError;
using zvg::val::eValNotReady;
using zvg::val::eValOk;
using zvg::val::eValStatus;
using zvg::val::Service;

using Bytes = std::vector<unsigned char>;

class BridgeSend : public test::BridgeTest {
protected:
    BridgeSend() { record.value = 0xB047; }

    eValStatus send(unsigned long size = 2, bool skipCacheCheck = true) {
        return service.sendMsg(size, &record, PackValDiagnosticsrequestInd, skipCacheCheck);
    }

    /// A send as it comes in life: from a thread that Java doesn't know.
    eValStatus sendFromNativeThread(unsigned long size = 2, bool skipCacheCheck = true) {
        return std::async(std::launch::async, [=, this] { return send(size, skipCacheCheck); }).get();
    }

    void expectBalanced() {
        EXPECT_EQ(jvm.attachedThreads(), 0U);
        EXPECT_EQ(jvm.arrays(), 0U);
    }

    tValDiagnosticsrequestIndds record{};
    Bytes const payload{0x47, 0xB0};
};

TEST_F(BridgeSend, AttachesPacksCallsTheListenerAndDetaches) {
    bringUp();
    EXPECT_EQ(sendFromNativeThread(), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(Message{2349, payload}));
    EXPECT_THAT(jvm.calls(),
                ElementsAre("AttachCurrentThread", "NewByteArray", "GetByteArrayElements",
                            "SetByteArrayRegion", "CallVoidMethod", "ExceptionOccurred",
                            "ReleaseByteArrayElements", "DeleteLocalRef", "DetachCurrentThread"));
    EXPECT_EQ(jvm.pinnedArrays(), 0U);
    expectBalanced();
}

TEST_F(BridgeSend, DetachesAJavaThreadToo) {
    bringUp();
    EXPECT_EQ(send(), eValOk);
    EXPECT_EQ(jvm.count("DetachCurrentThread"), 1U);
    EXPECT_EQ(send(), eValOk) << "the JVM has refused to detach it";
}

TEST_F(BridgeSend, HandsOverTheWholeBufferWithZerosBehindThePayload) {
    bringUp();
    EXPECT_EQ(sendFromNativeThread(5), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(Message{2349, {0x47, 0xB0, 0, 0, 0}}));
    Bytes same = payload;
    EXPECT_TRUE(Service::m_Cache.isCached(2349, 2, same.data())) << "the cache keeps the payload alone";
}

TEST_F(BridgeSend, IsRefusedWithoutTouchingTheJvmBeforeInit) {
    EXPECT_EQ(send(), eValNotReady);
    EXPECT_THAT(log.infos(), ElementsAre("initialisation in progress message is not send"));
    EXPECT_THAT(jvm.calls(), IsEmpty());
}

TEST_F(BridgeSend, IsRefusedWithoutTouchingTheJvmAfterDeinit) {
    bringUp();
    service.deinit(jvm.env());
    jvm.forgetCalls();
    EXPECT_EQ(send(), eValNotReady);
    EXPECT_THAT(jvm.calls(), IsEmpty());
}

TEST_F(BridgeSend, IsRefusedWithoutTouchingTheJvmWhileDeinitRuns) {
    bringUp();
    eValStatus during = eValOk;
    components.behave("A", {.destroyed = [&] { during = sendFromNativeThread(); }});
    EXPECT_EQ(service.deinit(jvm.env()), 0);
    EXPECT_EQ(during, eValNotReady);
    EXPECT_EQ(jvm.count("AttachCurrentThread"), 0U);
}

TEST_F(BridgeSend, IsRefusedWhileDeinitRunsEvenThoughTheBridgeIsStillUp) {
    bringUp();
    components.behave("A", {.destroyed = [&] {
                          EXPECT_TRUE(service.up());
                          EXPECT_EQ(send(), eValNotReady);
                          EXPECT_EQ(jvm.globalRefs(), 2U);
                      }});
    EXPECT_EQ(service.deinit(jvm.env()), 0);
    EXPECT_FALSE(service.up());
    EXPECT_THAT(jvm.messages(), IsEmpty());
}

TEST_F(BridgeSend, OneMessageAtATimeIsWithJava) {
    constexpr int SENDERS = 4;
    constexpr int MESSAGES = 50;
    bringUp();
    std::atomic<int> sending{0};
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    jvm.onMessage([&](Message const&) {
        int const now = ++inside;
        if (now > most) most = now;
        // Until the others are about to send, too, or have nothing left, and then a little longer.
        for (int i = 0; i < 100'000 && sending < SENDERS; ++i) std::this_thread::yield();
        for (int i = 0; i < 20; ++i) std::this_thread::yield();
        --inside;
    });
    std::vector<std::thread> senders;
    for (int i = 0; i < SENDERS; ++i) {
        senders.emplace_back([&] {
            for (int message = 0; message < MESSAGES; ++message) {
                ++sending;
                EXPECT_EQ(send(), eValOk);
                if (message < MESSAGES - 1) --sending;
            }
        });
    }
    for (auto& sender : senders) sender.join();
    EXPECT_EQ(most, 1);
    EXPECT_EQ(jvm.messages().size(), std::size_t{SENDERS * MESSAGES});
}

TEST_F(BridgeSend, DuringInitWaitsAndIsThenDelivered) {
    std::promise<void> begun;
    std::future<eValStatus> early;
    components.behave("A", {.start = [&] {
                          early = std::async(std::launch::async, [&] {
                              begun.set_value();
                              return send();
                          });
                          begun.get_future().wait();
                      }});
    std::size_t deliveredWhileStarting = 1;
    components.behave("D", {.start = [&] { deliveredWhileStarting = jvm.messages().size(); }});
    ASSERT_EQ(service.init(jvm.env(), jvm.listener()), 0);
    EXPECT_EQ(deliveredWhileStarting, 0U);
    EXPECT_EQ(early.get(), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(Message{2349, payload}));
}

TEST_F(BridgeSend, ReturnsAtOnceAndWithoutDetachWhenTheThreadCannotBeAttached) {
    bringUp();
    jvm.fail("AttachCurrentThread");
    EXPECT_EQ(sendFromNativeThread(), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("Failed to attach to JVM."));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread"));
}

TEST_F(BridgeSend, RefusesANullRecord) {
    bringUp();
    auto const status = service.sendMsg(2, static_cast<tValDiagnosticsrequestIndds*>(nullptr),
                                        PackValDiagnosticsrequestInd, true);
    EXPECT_EQ(status, eValError);
    EXPECT_THAT(log.errors(), ElementsAre("No valid native data given."));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread", "DetachCurrentThread"));
}

TEST_F(BridgeSend, RefusesANullPackFunction) {
    bringUp();
    EXPECT_EQ(service.sendMsg<tValDiagnosticsrequestIndds>(2, &record, nullptr, true), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("Invalid pointer to pack function!"));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread", "DetachCurrentThread"));
}

TEST_F(BridgeSend, LooksAtTheRecordBeforeThePackFunction) {
    bringUp();
    EXPECT_EQ(service.sendMsg<tValDiagnosticsrequestIndds>(2, nullptr, nullptr, true), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("No valid native data given."));
}

TEST_F(BridgeSend, GivesUpWithoutAnExceptionWhenNoArrayCanBeHad) {
    bringUp();
    jvm.fail("NewByteArray");
    EXPECT_EQ(sendFromNativeThread(), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("New byte array couldn't be created."));
    EXPECT_THAT(jvm.calls(),
                ElementsAre("AttachCurrentThread", "NewByteArray", "ExceptionClear", "DetachCurrentThread"));
}

TEST_F(BridgeSend, GivesUpWithoutAnExceptionWhenTheElementsCannotBeHad) {
    bringUp();
    jvm.fail("GetByteArrayElements");
    EXPECT_EQ(sendFromNativeThread(), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("Element(s) of new byte array couldn't be accessed."));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread", "NewByteArray", "GetByteArrayElements",
                                         "ExceptionClear", "DeleteLocalRef", "DetachCurrentThread"));
}

TEST_F(BridgeSend, DropsTheArrayWithoutReleaseWhenPackingFails) {
    bringUp();
    EXPECT_EQ(sendFromNativeThread(1), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("Pack failed!"));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread", "NewByteArray", "GetByteArrayElements",
                                         "DeleteLocalRef", "DetachCurrentThread"));
}

TEST_F(BridgeSend, SuppressesARepeatWhereTheCacheIsAsked) {
    bringUp();
    EXPECT_EQ(sendFromNativeThread(2, false), eValOk);
    jvm.forgetCalls();
    log.clear();

    EXPECT_EQ(sendFromNativeThread(2, false), eValOk);

    EXPECT_THAT(jvm.messages(), IsEmpty());
    EXPECT_THAT(log.infos(), ElementsAre("Message with id 2349is already cashed so it is not forwarded."));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread", "NewByteArray", "GetByteArrayElements",
                                         "DeleteLocalRef", "DetachCurrentThread"));
}

TEST_F(BridgeSend, RepeatsWhereTheCacheIsNotAsked) {
    bringUp();
    EXPECT_EQ(send(), eValOk);
    EXPECT_EQ(send(), eValOk);
    EXPECT_EQ(jvm.messages().size(), 2U);
}

TEST_F(BridgeSend, ForgetsWhatWasSentAtTheNextStart) {
    bringUp();
    EXPECT_EQ(send(2, false), eValOk);
    service.deinit(jvm.env());
    bringUp();
    EXPECT_EQ(send(2, false), eValOk);
    EXPECT_EQ(jvm.messages().size(), 1U);
}

TEST_F(BridgeSend, LeavesNothingBehindWhenTheListenerThrows) {
    bringUp();
    jvm.onMessage([](Message const&) { throw fake::JavaException{"java/lang/IllegalStateException", "no"}; });
    EXPECT_EQ(sendFromNativeThread(), eValError);
    EXPECT_THAT(log.errors(), ElementsAre("Method handleEvent() not found."));
    EXPECT_THAT(jvm.calls(), ElementsAre("AttachCurrentThread", "NewByteArray", "GetByteArrayElements",
                                         "SetByteArrayRegion", "CallVoidMethod", "ExceptionOccurred",
                                         "ExceptionDescribe", "ExceptionClear", "ReleaseByteArrayElements",
                                         "DeleteLocalRef", "DetachCurrentThread"));
    Bytes same = payload;
    EXPECT_FALSE(Service::m_Cache.isCached(2349, 2, same.data()));
    expectBalanced();

    jvm.onMessage(nullptr);
    EXPECT_EQ(sendFromNativeThread(), eValOk);
    EXPECT_TRUE(Service::m_Cache.isCached(2349, 2, same.data()));
}

TEST_F(BridgeSend, LeavesNoExceptionOnAJavaThreadWhenTheListenerThrows) {
    bringUp();
    jvm.onMessage([](Message const&) { throw fake::JavaException{"java/lang/Error", "no"}; });
    EXPECT_EQ(send(), eValError);
    EXPECT_FALSE(jvm.takeException());
}

class BridgeSendFailure : public BridgeSend,
                          public testing::WithParamInterface<std::tuple<char const*, bool>> {};

TEST_P(BridgeSendFailure, DetachesAsOftenAsItAttachedAndTheNextSendWorks) {
    auto const [function, always] = GetParam();
    bringUp();
    if (always) {
        jvm.failAlways(function);
    } else {
        jvm.fail(function);
    }
    bool const fatal = function != std::string("DetachCurrentThread");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(sendFromNativeThread(), fatal && (always || i == 0) ? eValError : eValOk);
    std::size_t const refused = function != std::string("AttachCurrentThread") ? 0 : always ? 3 : 1;
    EXPECT_EQ(jvm.count("DetachCurrentThread"), jvm.count("AttachCurrentThread") - refused);
    expectBalanced();
    EXPECT_EQ(jvm.pinnedArrays(), 0U);

    jvm.failNothing();
    EXPECT_EQ(sendFromNativeThread(), eValOk);
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryCall, BridgeSendFailure,
                         testing::Combine(testing::Values("AttachCurrentThread", "NewByteArray",
                                                          "GetByteArrayElements", "CallVoidMethod",
                                                          "DetachCurrentThread"),
                                          testing::Bool()));

}  // namespace
