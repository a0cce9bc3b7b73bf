// What the bridge logs: each line with its level, its prefix and its function's name, in order.

#include "tests/support/ConnectorTest.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zvg::val::eValError;
using zvg::val::eValNotReady;
using zvg::val::eValOk;
using zvg::val::eValStatus;

class BridgeLines : public test::BridgeTest {
protected:
    eValStatus send(unsigned long size = 2) {
        tValDiagnosticsrequestIndds record{};
        return service.sendMsg(size, &record, PackValDiagnosticsrequestInd, false);
    }
};

TEST_F(BridgeLines, TellALifeFromInitToDeinit) {
    // When
    service.init(jvm.env(), jvm.listener());
    send();
    send();
    write(test::Components::ONLY_C, {1}, 1);
    service.deinit(jvm.env());
    // Then
    EXPECT_THAT(
        log.story(),
        ElementsAre("4 Bridge::init() ", "4 Components::init() Instantiate all components",
                    "4 Cache::init() Cache initialized", "4 Components::create() A",
                    "4 Components::create() B", "4 Components::create() C", "4 Components::create() D",
                    "4 Bridge::sendMsg() Message with id 2349is already cashed so it is not forwarded.",
                    "4 Bridge::handleMsg() Message <2937> with 1nr of receivers forwarded.",
                    "4 Bridge::deinit() ", "4 Components::destroy() A", "4 Components::destroy() B",
                    "4 Components::destroy() C", "4 Components::destroy() D",
                    "4 Components::destroy() Shutdown finalized"));
}

TEST_F(BridgeLines, TellWhatIsRefusedWhileNothingIsUp) {
    EXPECT_EQ(service.deinit(jvm.env()), -1);
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), -1);
    EXPECT_EQ(send(), eValNotReady);
    EXPECT_THAT(
        log.story(),
        ElementsAre("4 Bridge::deinit() ", "2 Bridge::deinit() Native interface wasn't initialized properly.",
                    "2 Bridge::handleMsg() Required references to JVM aren't valid. See <init()>.",
                    "4 Bridge::sendMsg() initialisation in progress message is not send"));
}

TEST_F(BridgeLines, TellACallWithoutEnvironment) {
    bringUp();
    EXPECT_EQ(service.init(nullptr, jvm.listener()), -1);
    EXPECT_EQ(service.handleMsg(nullptr, test::Components::ONLY_C, 0, nullptr), -1);
    EXPECT_EQ(service.deinit(nullptr), -1);
    EXPECT_THAT(log.story(),
                ElementsAre("4 Bridge::init() ", "2 Bridge::init() NO valid JVM reference available.",
                            "2 Bridge::handleMsg() NO valid JVM reference available.", "4 Bridge::deinit() ",
                            "2 Bridge::deinit() NO valid JVM reference available."));
}

TEST_F(BridgeLines, TellAMessageThatCannotBeForwarded) {
    bringUp();
    EXPECT_EQ(write(test::Components::NOBODY, {1}, 1), -1);
    EXPECT_EQ(service.handleMsg(jvm.env(), test::Components::ONLY_C, 1, nullptr), -1);
    EXPECT_THAT(
        log.story(),
        ElementsAre("2 Bridge::handleMsg() Message <600> couldn't be forwarded. Invalid service handle!",
                    "2 Bridge::handleMsg() Message <2937> couldn't be forwarded. Content copy failed!"));
}

TEST_F(BridgeLines, TellWhyASendFailed) {
    bringUp();
    for (auto const* function :
         {"AttachCurrentThread", "NewByteArray", "GetByteArrayElements", "CallVoidMethod"}) {
        jvm.fail(function);
        EXPECT_EQ(send(), eValError);
    }
    EXPECT_EQ(send(1), eValError);
    EXPECT_EQ(service.sendMsg(2, static_cast<tValDiagnosticsrequestIndds*>(nullptr),
                              PackValDiagnosticsrequestInd, true),
              eValError);
    tValDiagnosticsrequestIndds record{};
    EXPECT_EQ(service.sendMsg<tValDiagnosticsrequestIndds>(2, &record, nullptr, true), eValError);
    EXPECT_THAT(
        log.story(),
        ElementsAre("2 Bridge::sendMsg() Failed to attach to JVM.",
                    "2 Bridge::sendMsg() New byte array couldn't be created.",
                    "2 Bridge::sendMsg() Element(s) of new byte array couldn't be accessed.",
                    "2 Bridge::sendMsg() Method handleEvent() not found.", "2 Bridge::sendMsg() Pack failed!",
                    "2 Bridge::sendMsg() No valid native data given.",
                    "2 Bridge::sendMsg() Invalid pointer to pack function!"));
}

TEST_F(BridgeLines, TellASendThatComesWhileTheComponentsEnd) {
    bringUp();
    eValStatus during = eValOk;
    components.behave("D", {.destroyed = [&] { during = send(); }});
    EXPECT_EQ(service.deinit(jvm.env()), 0);
    EXPECT_EQ(during, eValNotReady);
    EXPECT_THAT(log.story(), testing::IsSupersetOf(
                                 {"4 Bridge::sendMsg() initialisation in progress message is not send"}));
}

TEST_F(BridgeLines, TellOfTheEndOnlyWhenTheComponentsHaveEnded) {
    bringUp();
    std::size_t linesWhileEnding = 0;
    components.behave("D", {.destroyed = [&] { linesWhileEnding = log.story().size(); }});
    service.deinit(jvm.env());
    ASSERT_EQ(log.story().size(), 6U);
    EXPECT_EQ(linesWhileEnding, 5U);
    EXPECT_EQ(log.story().back(), "4 Components::destroy() Shutdown finalized");
}

TEST_F(BridgeLines, NameTheExportThatAnExceptionHasEnded) {
    test::Components::instance().behave("C",
                                        {.handleMsg = [](int, unsigned short, unsigned char*) -> eValStatus {
                                            throw std::runtime_error("no thread");
                                        }});
    fake::Connector java(jvm);
    ASSERT_EQ(java.registerListener(), 0);
    log.clear();
    EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), -1);
    EXPECT_EQ(java.registerListener(-1), -6);
    EXPECT_EQ(java.unregister(), 0);
    EXPECT_THAT(
        log.story(),
        testing::IsSupersetOf({"2 Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write() "
                               "write: ended by an exception: no thread",
                               "2 Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register() "
                               "ConnectorNativeDiagARA_register(): Logging couldn't be enabled."}));
}

TEST_F(BridgeLines, TellTheBuildBeforeANegativeLevelIsRefused) {
    fake::Connector java(jvm);
    EXPECT_EQ(java.registerListener(-1), -6);
    auto const messages = log.raw().messages("DIAG");
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_THAT(messages[0].text, HasSubstr("|osal api version 28.3.0\n"));
    EXPECT_THAT(messages[1].text, HasSubstr("|variant "));
    EXPECT_THAT(messages[2].text, HasSubstr("Logging couldn't be enabled.\n"));
}

}  // namespace
