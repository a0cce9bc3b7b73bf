// Messages from Java to the components.

#include <algorithm>
#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "tests/support/BridgeTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using zvg::val::eValOk;
using zvg::val::eValRefused;
using zvg::val::eValStatus;

using Bytes = std::vector<unsigned char>;

class BridgeReceive : public test::BridgeTest {
protected:
    /// What "C" was handed, read to the announced end.
    Bytes received;

    void record() {
        components.behave("C", {.handleMsg = [this](int, unsigned short length, unsigned char* data) {
                              received.assign(data, data + length);
                              return eValOk;
                          }});
    }
};

TEST_F(BridgeReceive, IsRefusedWhileTheBridgeIsNotUp) {
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Required references to JVM aren't valid. See <init()>."));
}

TEST_F(BridgeReceive, IsRefusedWithoutEnvironment) {
    bringUp();
    EXPECT_EQ(service.handleMsg(nullptr, test::Components::ONLY_C, 0, nullptr), -1);
    EXPECT_THAT(log.errors(), ElementsAre("NO valid JVM reference available."));
}

TEST_F(BridgeReceive, IsRefusedForAnIdThatNobodyReceives) {
    bringUp();
    EXPECT_EQ(write(test::Components::NOBODY, {1}, 1), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Message <600> couldn't be forwarded. Invalid service handle!"));
}

TEST_F(BridgeReceive, DoesNotCutTheIdTo16Bits) {
    bringUp();
    EXPECT_EQ(write(65536 + test::Components::BOTH_A_AND_B, {1}, 1), -1);
    EXPECT_EQ(write(-1, {1}, 1), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Message <67886> couldn't be forwarded. Invalid service handle!",
                                          "Message <-1> couldn't be forwarded. Invalid service handle!"));
}

TEST_F(BridgeReceive, HandsTheBytesToEveryReceiverInTheOrderOfTheirIdentifiers) {
    bringUp();
    EXPECT_EQ(write(test::Components::BOTH_A_AND_B, {1, 2, 3}, 3), 0);
    EXPECT_THAT(components.events(), ElementsAre("A::handleMsg(2350, 3)", "B::handleMsg(2350, 3)"));
    EXPECT_THAT(log.infos(), ElementsAre("Message <2350> with 2nr of receivers forwarded.",
                                         "Message <2350> with 2nr of receivers forwarded."));
    EXPECT_EQ(jvm.count("GetByteArrayElements"), 2U);
    EXPECT_EQ(jvm.count("ReleaseByteArrayElements(JNI_ABORT)"), 2U);
    EXPECT_EQ(jvm.pinnedArrays(), 0U);
}

TEST_F(BridgeReceive, SaysNothingAboutAReceiverThatRefuses) {
    bringUp();
    components.behave("A", {.handleMsg = [](int, unsigned short, unsigned char*) { return eValRefused; }});
    EXPECT_EQ(write(test::Components::BOTH_A_AND_B, {1}, 1), 0);
    EXPECT_THAT(log.infos(), ElementsAre("Message <2350> with 2nr of receivers forwarded."));
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(BridgeReceive, DropsWhatAReceiverWritesIntoTheBytes) {
    bringUp();
    components.behave("C", {.handleMsg = [](int, unsigned short, unsigned char* data) {
                          data[0] = 99;
                          return eValOk;
                      }});
    jbyteArray const array = jvm.newArray({1, 2});
    EXPECT_EQ(service.handleMsg(jvm.env(), test::Components::ONLY_C, 2, array), 0);
    EXPECT_EQ(jvm.bytesOf(array), (Bytes{1, 2}));
}

TEST_F(BridgeReceive, TakesNullDataForACopyThatFailed) {
    bringUp();
    EXPECT_EQ(service.handleMsg(jvm.env(), test::Components::BOTH_A_AND_B, 4, nullptr), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Message <2350> couldn't be forwarded. Content copy failed!",
                                          "Message <2350> couldn't be forwarded. Content copy failed!"));
    EXPECT_THAT(components.events(), IsEmpty());
    EXPECT_THAT(jvm.calls(), IsEmpty());
}

TEST_F(BridgeReceive, GoesOnWithTheNextReceiverWhenACopyFailed) {
    bringUp();
    jvm.fail("GetByteArrayElements");
    EXPECT_EQ(write(test::Components::BOTH_A_AND_B, {1}, 1), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Message <2350> couldn't be forwarded. Content copy failed!"));
    EXPECT_THAT(components.events(), ElementsAre("B::handleMsg(2350, 1)"));
    EXPECT_FALSE(jvm.takeException()) << "Java must not find an exception behind write";
    EXPECT_EQ(jvm.count("ExceptionDescribe"), 0U);
}

TEST_F(BridgeReceive, ReleasesTheBytesAndTheLockWhenAReceiverThrows) {
    bringUp();
    components.behave("C", {.handleMsg = [](int, unsigned short, unsigned char*) -> eValStatus {
                          throw std::runtime_error("out of order");
                      }});
    EXPECT_THROW(write(test::Components::ONLY_C, {1}, 1), std::runtime_error);
    EXPECT_EQ(jvm.pinnedArrays(), 0U);
    components.reset();
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
}

TEST_F(BridgeReceive, NoComponentEndsWhileOneReceives) {
    bringUp();
    std::atomic<bool> receiving{false};
    std::atomic<bool> endedMeanwhile{false};
    std::future<int> ending;
    components.behave("A", {.destroyed = [&] { endedMeanwhile = receiving.load(); }});
    components.behave("C", {.handleMsg = [&](int, unsigned short, unsigned char*) {
                          receiving = true;
                          std::promise<void> begun;
                          ending = std::async(std::launch::async, [&] {
                              begun.set_value();
                              return service.deinit(jvm.env());
                          });
                          begun.get_future().wait();
                          for (int i = 0; i < 2000; ++i) std::this_thread::yield();
                          receiving = false;
                          return eValOk;
                      }});
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
    EXPECT_EQ(ending.get(), 0);
    EXPECT_FALSE(endedMeanwhile);
}

TEST_F(BridgeReceive, AMessageInBothDirectionsNeedNotWaitForTheOther) {
    // Given a message that Java holds for as long as it takes to write another one
    bringUp();
    std::promise<void> written;
    jvm.onMessage([&](fake::Message const&) { written.get_future().wait(); });
    auto sent = std::async(std::launch::async, [&] {
        tValDiagnosticsrequestIndds record{};
        return service.sendMsg(2, &record, PackValDiagnosticsrequestInd, true);
    });
    ASSERT_TRUE(jvm.awaitMessages(1));
    // When
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
    written.set_value();
    // Then
    EXPECT_EQ(sent.get(), eValOk);
}

TEST_F(BridgeReceive, LetsAReceiverSendFromInside) {
    bringUp();
    eValStatus sent = zvg::val::eValError;
    components.behave("C", {.handleMsg = [&](int, unsigned short, unsigned char*) {
                          tValDiagnosticsrequestIndds record{};
                          sent = service.sendMsg(2, &record, PackValDiagnosticsrequestInd, true);
                          return eValOk;
                      }});
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
    EXPECT_EQ(sent, eValOk);
    EXPECT_EQ(jvm.messages().size(), 1U);
}

struct LengthRow {
    int length;
    std::size_t array;
    unsigned short announced;
};

class BridgeReceiveLength : public BridgeReceive, public testing::WithParamInterface<LengthRow> {};

TEST_P(BridgeReceiveLength, IsCutTo16BitsAndReadableToItsEndWithZerosBehindTheArray) {
    bringUp();
    record();
    Bytes bytes(GetParam().array);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(1 + i % 255);

    EXPECT_EQ(write(test::Components::ONLY_C, bytes, GetParam().length), 0);

    bytes.resize(GetParam().announced, 0);
    EXPECT_EQ(received, bytes);
    EXPECT_THAT(components.events(),
                ElementsAre("C::handleMsg(2937, " + std::to_string(GetParam().announced) + ")"));
}

INSTANTIATE_TEST_SUITE_P(Rows, BridgeReceiveLength,
                         testing::Values(LengthRow{0, 0, 0}, LengthRow{0, 10, 0}, LengthRow{10, 10, 10},
                                         LengthRow{9, 10, 9}, LengthRow{11, 10, 11}, LengthRow{1, 0, 1},
                                         LengthRow{4083, 1, 4083}, LengthRow{32768, 10, 32768},
                                         LengthRow{65535, 10, 65535}, LengthRow{65535, 70000, 65535},
                                         LengthRow{65536, 10, 0}, LengthRow{65537, 10, 1},
                                         LengthRow{-1, 10, 65535}, LengthRow{-65536, 10, 0},
                                         LengthRow{2147483647, 10, 65535},
                                         LengthRow{-2147483647 - 1, 10, 0}));

}  // namespace
