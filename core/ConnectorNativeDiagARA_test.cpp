// The three exported functions on the one bridge of the process.

#include <cstdlib>
#include <future>
#include <stdexcept>
#include <thread>

#include "tests/support/ConnectorTest.h"

namespace {

using test::ConnectorTest;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using zvg::val::eValNotReady;
using zvg::val::eValOk;
using zvg::val::eValRefused;
using zvg::val::eValStatus;
using zvg::val::Trace;
using zvg::val::diag_ara::DiagAraService;

TEST_F(ConnectorTest, RegisterWithANegativeLevelIsRefusedAndLeavesTheBridgeDown) {
    EXPECT_EQ(java.registerListener(-1), -6);
    EXPECT_THAT(log.raw().messages("DIAG"), IsEmpty()) << "no logger exists yet";
    EXPECT_EQ(Trace::g_loggerCtx, nullptr);
    EXPECT_THAT(jvm.calls(), IsEmpty());
    EXPECT_FALSE(jvm.takeException());
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), -1);
}

TEST_F(ConnectorTest, RegisterWithANegativeLevelChangesNothingWhileUp) {
    ASSERT_EQ(java.registerListener(4), 0);
    log.clear();
    EXPECT_EQ(java.registerListener(-1), -6);
    EXPECT_EQ(Trace::mLogLevel, 4);
    EXPECT_THAT(log.errors(), ElementsAre("ConnectorNativeDiagARA_register(): Logging couldn't be enabled."));
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), 0);
}

TEST_F(ConnectorTest, RegisterStoresTheLevelMakesTheLoggerAndTellsTheBuildFirst) {
    EXPECT_EQ(java.registerListener(5), 0);
    EXPECT_EQ(Trace::mLogLevel, 5);
    ASSERT_NE(Trace::g_loggerCtx, nullptr);
    EXPECT_EQ(Trace::g_loggerCtx.load()->contextId(), "DIAG");
    auto const messages = log.raw().messages("DIAG");
    ASSERT_GT(messages.size(), 3U);
    EXPECT_THAT(messages[0].text, HasSubstr("osal api version 28.3.0"));
    EXPECT_THAT(messages[1].text, HasSubstr("variant "));
    auto const lines = log.lines();
    EXPECT_EQ(lines[0].prefix, "DiagAraService::");
    EXPECT_EQ(lines[0].function, "init");
}

TEST_F(ConnectorTest, RegisterWithLevelZeroSucceedsInSilence) {
    EXPECT_EQ(java.registerListener(0), 0);
    EXPECT_THAT(log.raw().messages("DIAG"), IsEmpty());
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), 0);
}

TEST_F(ConnectorTest, SecondRegisterIsRefusedButItsLevelCounts) {
    ASSERT_EQ(java.registerListener(5), 0);
    components.forgetEvents();
    EXPECT_EQ(java.registerListener(3), -1);
    expectException(
        "Service::init(): Native interface was initialized beforehand (references are existing).");
    EXPECT_EQ(Trace::mLogLevel, 3);
    EXPECT_THAT(components.events(), IsEmpty());
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), 0);
}

TEST_F(ConnectorTest, RegisterWithoutListenerThrows) {
    EXPECT_EQ(java.registerListener(nullptr, 5), -1);
    expectException("Service::init(): NO valid listener available.");
    EXPECT_EQ(java.registerListener(), 0);
}

TEST_F(ConnectorTest, UnregisterWithoutRegisterIsRefused) {
    EXPECT_EQ(java.registerListener(nullptr, 5), -1);  // makes the logger
    jvm.takeException();
    log.clear();
    EXPECT_EQ(java.unregister(), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Native interface wasn't initialized properly."));
}

TEST_F(ConnectorTest, UnregisterTwiceIsRefusedTheSecondTime) {
    ASSERT_EQ(java.registerListener(), 0);
    EXPECT_EQ(java.unregister(), 0);
    EXPECT_EQ(java.unregister(), -1);
}

TEST_F(ConnectorTest, WriteTellsAnUnknownIdFromOneThatIsRefused) {
    ASSERT_EQ(java.registerListener(), 0);
    components.behave("C", {.handleMsg = [](int, unsigned short, unsigned char*) { return eValRefused; }});
    EXPECT_EQ(java.write(test::Components::NOBODY, {1}), -1);
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), 0);
}

TEST_F(ConnectorTest, WriteOf65536BytesIsOneOfNone) {
    ASSERT_EQ(java.registerListener(), 0);
    components.forgetEvents();
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1, 2}, 65536), 0);
    EXPECT_THAT(components.events(), ElementsAre("C::handleMsg(2937, 0)"));
}

TEST_F(ConnectorTest, WriteWithoutArrayIsRefusedAndTheNextIsTaken) {
    ASSERT_EQ(java.registerListener(), 0);
    EXPECT_EQ(java.write(test::Components::ONLY_C, 4, nullptr), -1);
    EXPECT_FALSE(jvm.takeException());
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), 0);
}

TEST_F(ConnectorTest, ExceptionOfAReceiverBecomesALineAndARefusal) {
    ASSERT_EQ(java.registerListener(), 0);
    components.behave("C", {.handleMsg = [](int, unsigned short, unsigned char*) -> eValStatus {
                          throw std::runtime_error("no thread");
                      }});
    log.clear();
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), -1);
    EXPECT_THAT(log.errors(), ElementsAre("write: ended by an exception: no thread"));
    EXPECT_FALSE(jvm.takeException());
    components.behave("C", {});
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), 0);
}

TEST_F(ConnectorTest, ExceptionOfNoStandardKindIsHeldBackToo) {
    ASSERT_EQ(java.registerListener(), 0);
    components.behave("C", {.handleMsg = [](int, unsigned short, unsigned char*) -> eValStatus { throw 7; }});
    log.clear();
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), -1);
    EXPECT_THAT(log.errors(), ElementsAre("write: ended by an exception: not a standard exception"));
}

TEST_F(ConnectorTest, ThousandCyclesLeaveNothingBehind) {
    for (int cycle = 0; cycle < 1000; ++cycle) {
        ASSERT_EQ(java.registerListener(0), 0);
        ASSERT_EQ(java.write(test::Components::BOTH_A_AND_B, {1, 2}), 0);
        ASSERT_EQ(java.unregister(), 0);
        ASSERT_EQ(jvm.globalRefs(), 0U);
        ASSERT_EQ(jvm.pinnedArrays(), 0U);
        components.forgetEvents();
    }
}

// What happens at the end of the process can only be seen in one of its own.
class ConnectorAtExit : public ConnectorTest {
protected:
    ConnectorAtExit() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    /// A JVM that outlives everything in the process, as the real one does.
    static fake::Jvm& lastingJvm() {
        static auto* const jvm = new fake::Jvm;
        return *jvm;
    }

    static eValStatus send() {
        tValDiagnosticsrequestIndds record{};
        return DiagAraService::getInstance()->sendMsg(2, &record, PackValDiagnosticsrequestInd, true);
    }

    static void sendUntilRefused() {
        while (send() == eValOk) {
        }
    }
};

TEST_F(ConnectorAtExit, ProcessEndsCleanlyWithoutUnregisterAndWithoutTouchingTheJvm) {
    EXPECT_EXIT(
        {
            // A component joins its threads, so none of them outlives the bridge.
            static auto& sender = *new std::thread;
            components.behave("A", {.start = [] { sender = std::thread(sendUntilRefused); },
                                    .destroyed =
                                        [] {
                                            sender.join();
                                            lastingJvm().end();
                                            if (send() != eValNotReady) std::_Exit(3);
                                            std::fputs("~A has run", stderr);
                                        }});
            fake::Connector(lastingJvm()).registerListener(0);
            lastingJvm().awaitMessages(100);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "~A has run");
}

TEST_F(ConnectorAtExit, ProcessEndsThoughAThreadNeverReturnsFromTheJvm) {
    EXPECT_EXIT(
        {
            components.behave("A", {.destroyed = [] { std::_Exit(3); }});
            lastingJvm().onMessage([](fake::Message const&) {
                std::promise<void> never;
                never.get_future().wait();
            });
            fake::Connector(lastingJvm()).registerListener(0);
            std::thread(sendUntilRefused).detach();
            lastingJvm().awaitMessages(1);
            lastingJvm().end();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(ConnectorAtExit, UnusableDeploymentFailsRegisterAndNotTheLoadOfTheLibrary) {
    setenv("ARA_COM_MANIFEST", "/nonexistent/vehicle.json", 1);
    EXPECT_EXIT(
        {
            int const result = java.registerListener(5);
            for (auto const& text : log.errors()) std::fputs(text.c_str(), stderr);
            java.unregister();
            std::_Exit(result == -1 ? 0 : 4);
        },
        testing::ExitedWithCode(0), "the communication runtime isn't available: .*vehicle.json");
    unsetenv("ARA_COM_MANIFEST");
}

}  // namespace
