// The trouble codes' way from Java to the platform, and the platform's way of asking for them.
#include "servers/dtc/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "registry/Diag_Ara_Components_Services.h"
#include "servers/dtc/test/Messages.h"
#include "tests/support/Connector.h"
#include "tests/support/DiagLog.h"

namespace dtc_test {
namespace {

using namespace zvg::val;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using zvg::val::diag_ara::services::Runnable;
using zvg::val::diag_ara::services::diagnosticsmonitor::methods::Server;

constexpr unsigned long CODE = 0x81A2E0;
constexpr unsigned long CODES[] = {0x81A2E0, 0x81A2E1, 0x81A2E2};

/// Hands a message to a component: exactly these bytes can be read.
eValStatus deliver(Runnable& component, int msgId, Bytes const& payload) {
    std::unique_ptr<unsigned char[]> const bytes(new unsigned char[payload.size()]);
    std::copy(payload.begin(), payload.end(), bytes.get());
    return component.handleMsg(msgId, static_cast<unsigned short>(payload.size()), bytes.get());
}

/// The whole library in this process with a fake Java side, registered by each test.
class TroubleCodes : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(java.registerListener(), 0);
        log.clear();
    }
    void TearDown() override {
        java.unregister();
        EXPECT_THAT(jvm.violations(), IsEmpty());
    }

    static Server& server() { return *Server::getDtcServerInstance(); }
    static eValStatus set(unsigned long code, unsigned long state) {
        return deliver(server(), SET_STATUS, message(code, state));
    }

    /// The server's lines since the last look. It has no prefix, other components have.
    std::vector<std::string> texts() {
        std::vector<std::string> texts;
        for (auto const& line : log.lines()) {
            if (!line.prefix.empty()) continue;
            texts.push_back(std::to_string(line.level) + ' ' + line.function + ": " + line.text);
        }
        log.clear();
        return texts;
    }

    /// Incidents of that name, as lines of JSON.
    std::vector<std::string> incidents(std::string const& name) const {
        std::vector<std::string> found;
        for (auto const& entry : log.raw().messages("BIND")) {
            if (entry.text.find("\"1_id\":\"" + name + '"') != std::string::npos) found.push_back(entry.text);
        }
        return found;
    }

    test::DiagLog log;
    fake::Jvm jvm;
    fake::Connector java{jvm};
};

TEST_F(TroubleCodes, EveryStateOfEveryCodeReachesTheManagerAsOneByte) {
    for (unsigned long const code : CODES) {
        SCOPED_TRACE(code);
        Manager manager(code);
        ASSERT_TRUE(manager.awaitSubscribed());
        EXPECT_EQ(java.write(SET_STATUS, message(code, 1)), 0);
        EXPECT_EQ(java.write(SET_STATUS, message(code, 0)), 0);
        ASSERT_TRUE(manager.awaitSamples(2));
        EXPECT_THAT(manager.samples(), ElementsAre(Bytes{1}, Bytes{0}));
    }
}

TEST_F(TroubleCodes, StateGoesToTheMonitorOfItsCodeOnly) {
    Manager first(CODES[0]);
    Manager second(CODES[1]);
    Manager third(CODES[2]);
    ASSERT_TRUE(first.awaitSubscribed() && second.awaitSubscribed() && third.awaitSubscribed());
    EXPECT_EQ(set(CODES[1], 1), eValOk);
    EXPECT_EQ(set(CODES[0], 0), eValOk);
    EXPECT_EQ(set(CODES[2], 0), eValOk);
    ASSERT_TRUE(first.awaitSamples(1) && second.awaitSamples(1) && third.awaitSamples(1));
    EXPECT_THAT(first.samples(), ElementsAre(Bytes{0}));
    EXPECT_THAT(second.samples(), ElementsAre(Bytes{1}));
    EXPECT_THAT(third.samples(), ElementsAre(Bytes{0}));
}

TEST_F(TroubleCodes, TellsHowAStateIsHandled) {
    EXPECT_EQ(set(CODE, 1), eValOk);
    EXPECT_THAT(
        texts(),
        ElementsAre("4 handleMsg: <<< VAL_DIAGMGR_JAVA_SET_DTC_STATUS_IND",
                    "4 unpackDiagnosticManagerSetJavaDtcStatus: Server::handleMsg Received Java Set DTC "
                    "Status message",
                    "4 unpackDiagnosticManagerSetJavaDtcStatus: dtc_id:8495840;",
                    "4 setDtcState: Found the Diagnostics Monitor with DTC id:8495840.  Setting DTC.",
                    "2 unpackDiagnosticManagerSetJavaDtcStatus: DTC request handled."));
}

TEST_F(TroubleCodes, StatesThatAMonitorDoesNotKnowAreRefused) {
    Manager manager(CODE);
    ASSERT_TRUE(manager.awaitSubscribed());
    for (unsigned long const state : {2UL, 3UL}) {
        SCOPED_TRACE(state);
        log.clear();
        EXPECT_EQ(set(CODE, state), eValError);
        EXPECT_THAT(
            texts(),
            ElementsAre("4 handleMsg: <<< VAL_DIAGMGR_JAVA_SET_DTC_STATUS_IND",
                        "4 unpackDiagnosticManagerSetJavaDtcStatus: Server::handleMsg Received Java Set DTC "
                        "Status message",
                        "4 unpackDiagnosticManagerSetJavaDtcStatus: dtc_id:8495840;",
                        "4 setDtcState: Tried to set a DTC with a not supported state. ",
                        "2 unpackDiagnosticManagerSetJavaDtcStatus: There was an error handling the DTC "
                        "request"));
    }
    // Nothing was sent or kept: the manager has what comes next, and nothing in front of it.
    EXPECT_EQ(manager.initMonitor({0}).return_code, 0);
    EXPECT_EQ(set(CODE, 1), eValOk);
    ASSERT_TRUE(manager.awaitSamples(1));
    EXPECT_THAT(manager.samples(), ElementsAre(Bytes{1}));
}

TEST_F(TroubleCodes, UnknownCodeIsRefused) {
    for (unsigned long const code : {0UL, CODE - 1, CODE + 3, CODE + (1UL << 32U), ~0UL}) {
        SCOPED_TRACE(code);
        log.clear();
        EXPECT_EQ(set(code, 0), eValError);
        auto const lines = texts();
        ASSERT_EQ(lines.size(), 5U);
        EXPECT_EQ(lines[3], "4 setDtcState: Requested DTC is unmapped. Please configure the DTCServer ");
        EXPECT_EQ(lines[4],
                  "2 unpackDiagnosticManagerSetJavaDtcStatus: There was an error handling the DTC request");
    }
    EXPECT_THAT(incidents("Event_update_tx"), IsEmpty());
}

TEST_F(TroubleCodes, StateIsLookedAtBeforeTheCode) {
    EXPECT_EQ(set(1, 2), eValError);
    auto const lines = texts();
    EXPECT_THAT(lines, Contains("4 setDtcState: Tried to set a DTC with a not supported state. "));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("unmapped"))));
}

TEST_F(TroubleCodes, RecordIsToldInSixteenBytes) {
    EXPECT_EQ(set(123456789, 0), eValError);
    EXPECT_THAT(texts(), Contains("4 unpackDiagnosticManagerSetJavaDtcStatus: dtc_id:12345678"));
    EXPECT_EQ(set(9, 0), eValError);
    EXPECT_THAT(texts(), Contains("4 unpackDiagnosticManagerSetJavaDtcStatus: dtc_id:9;status"));
}

TEST_F(TroubleCodes, StateOutOfRangeCannotBeUnpacked) {
    for (unsigned long const state : {4UL, 255UL, 256UL, 257UL, 0xFFFFFFFFUL}) {
        SCOPED_TRACE(state);
        log.clear();
        EXPECT_EQ(set(CODE, state), eValBadMessage);
        EXPECT_EQ(texts().back(), "2 unpackDiagnosticManagerSetJavaDtcStatus: unpacking error=11");
    }
}

TEST_F(TroubleCodes, TruncatedMessageCannotBeUnpacked) {
    for (std::size_t size = 0; size < 12; ++size) {
        SCOPED_TRACE(size);
        Bytes bytes = message(CODE, 1);
        bytes.resize(size);
        log.clear();
        EXPECT_EQ(deliver(server(), SET_STATUS, bytes), eValBadMessage);
        EXPECT_THAT(texts(),
                    ElementsAre("4 handleMsg: <<< VAL_DIAGMGR_JAVA_SET_DTC_STATUS_IND",
                                "4 unpackDiagnosticManagerSetJavaDtcStatus: Server::handleMsg Received Java "
                                "Set DTC Status message",
                                "2 unpackDiagnosticManagerSetJavaDtcStatus: unpacking error=4"));
    }
}

TEST_F(TroubleCodes, OtherMessagesAreIgnored) {
    for (int const msgId : {2936, 2938, 666, 0, -1, SET_STATUS + 0x10000}) {
        SCOPED_TRACE(msgId);
        log.clear();
        EXPECT_EQ(deliver(server(), msgId, message(CODE, 1)), eValNotSupported);
        EXPECT_THAT(texts(), ElementsAre("4 handleMsg: <msgId> " + std::to_string(msgId) + " ignored."));
    }
    EXPECT_THAT(incidents("Event_update_tx"), IsEmpty());
}

TEST_F(TroubleCodes, InitMonitorBeforeAnyReportSendsNothingAndSucceeds) {
    Manager manager(CODE);
    ASSERT_TRUE(manager.awaitSubscribed());
    auto const reply = manager.initMonitor({2});
    EXPECT_EQ(reply.outcome, eb::com::runtime::Call_outcome::answered);
    EXPECT_EQ(reply.return_code, 0);
    EXPECT_THAT(reply.payload.bytes(), IsEmpty());
    EXPECT_THAT(texts(), ElementsAre("4 InitMonitor:  DTCServerSkeleton_impl::InitMonitor][info] Not "
                                     "resending DTC state as it is not available instance "
                                     "\xE2\x80\xAD"
                                     "8495840"
                                     "\xE2\x80\xAC reason 2"));
    EXPECT_THAT(incidents("Event_update_tx"), IsEmpty());
    // A state that was set elsewhere is none of this monitor's.
    EXPECT_EQ(set(CODES[1], 1), eValOk);
    manager.initMonitor({0});
    EXPECT_EQ(set(CODE, 0), eValOk);
    ASSERT_TRUE(manager.awaitSamples(1));
    EXPECT_THAT(manager.samples(), ElementsAre(Bytes{0}));
}

TEST_F(TroubleCodes, EachInitMonitorSendsTheLastStateAgain) {
    Manager manager(CODES[2]);
    ASSERT_TRUE(manager.awaitSubscribed());
    std::size_t expected = 0;
    for (unsigned const state : {1U, 0U, 1U}) {
        EXPECT_EQ(set(CODES[2], state), eValOk);
        ASSERT_TRUE(manager.awaitSamples(++expected));
        for (unsigned const reason : {0U, 1U, 2U, 255U}) {
            SCOPED_TRACE(reason);
            log.clear();
            EXPECT_EQ(manager.initMonitor({static_cast<unsigned char>(reason)}).return_code, 0);
            ASSERT_TRUE(manager.awaitSamples(++expected));
            EXPECT_THAT(manager.samples().back(), ElementsAre(state));
            EXPECT_THAT(texts(), ElementsAre("4 InitMonitor: DTCServerSkeleton_impl::InitMonitor][info] "
                                             "Resending DTC state instance \xE2\x80\xAD"
                                             "8495842"
                                             "\xE2\x80\xAC DTC State " +
                                             std::to_string(state) + " reason " + std::to_string(reason)));
        }
    }
    EXPECT_EQ(manager.samples().size(), expected);
}

TEST_F(TroubleCodes, InitMonitorWithoutAReasonIsUnreadable) {
    Manager manager(CODE);
    EXPECT_EQ(set(CODE, 1), eValOk);
    log.clear();
    auto const reply = manager.initMonitor({});
    EXPECT_EQ(reply.return_code, 0x80);
    EXPECT_THAT(reply.payload.bytes(), IsEmpty());
    EXPECT_THAT(texts(), IsEmpty());
    // Bytes behind the reason are not looked at.
    EXPECT_EQ(manager.initMonitor({1, 2, 3}).return_code, 0);
}

TEST_F(TroubleCodes, MonitorsTakeCallsSideBySide) {
    java.unregister();
    log.clear();
    ASSERT_EQ(java.registerListener(), 0);
    for (unsigned long const code : CODES) {
        int parallel = 0;
        for (std::string const& made : incidents("Service_skeleton_constructed")) {
            if (made.find(std::to_string(code)) == std::string::npos) continue;
            EXPECT_THAT(made, HasSubstr("\"parallel\""));
            ++parallel;
        }
        EXPECT_EQ(parallel, 1) << code;
    }
}

TEST_F(TroubleCodes, SentStateIsAnIncident) {
    EXPECT_EQ(set(CODE, 1), eValOk);
    EXPECT_THAT(incidents("Event_update_tx"),
                ElementsAre(testing::StartsWith(
                    R"({"1_incident":{"1_id":"Event_update_tx","2_Event_id":0},"2_data":)")));
    EXPECT_THAT(incidents("Event_request_update_err"), IsEmpty());
}

TEST_F(TroubleCodes, StateIsForgottenWithTheRegistration) {
    EXPECT_EQ(set(CODE, 1), eValOk);
    EXPECT_EQ(java.unregister(), 0);
    EXPECT_EQ(Server::getDtcServerInstance(), nullptr);
    EXPECT_EQ(java.write(SET_STATUS, message(CODE, 1)), -1);
    ASSERT_EQ(java.registerListener(), 0);
    Manager manager(CODE);
    log.clear();
    EXPECT_EQ(manager.initMonitor({1}).return_code, 0);
    EXPECT_THAT(texts(), ElementsAre(HasSubstr("Not resending")));
}

// The life of a server of its own.
class ServerLife : public testing::Test {
protected:
    std::vector<std::string> texts() {
        std::vector<std::string> texts;
        for (auto const& line : log.lines()) texts.push_back(line.function + ": " + line.text);
        log.clear();
        return texts;
    }

    test::DiagLog log;
};

TEST_F(ServerLife, IsToldFromCreationToEnd) {
    auto server = Server::create();
    EXPECT_THAT(texts(), ElementsAre("create: Create DTC Server"));
    server->init("any");
    EXPECT_THAT(texts(), ElementsAre("init: DTC Server::Initializing DTC Server...",
                                     "init: Diagnostics Monitor Initialized for 8495840",
                                     "init: Diagnostics Monitor Initialized for 8495841",
                                     "init: Diagnostics Monitor Initialized for 8495842"));
    server->start();
    EXPECT_THAT(
        texts(),
        ElementsAre("start: Starting DTC Server....", "start: OfferService() for DTC 8495840",
                    "start: OfferService() for DTC 8495841", "start: OfferService() for DTC 8495842"));
    server.reset();
    auto const incidents = log.raw().messages("BIND");
    auto const withdrawn = std::count_if(incidents.begin(), incidents.end(), [](auto const& entry) {
        return entry.text.find("Stop_offer_service") != std::string::npos;
    });
    EXPECT_THAT(
        texts(),
        ElementsAre("~Server: DTC Server:: ~Server()",
                    "~Server: DTC Server::~Server(): StopOfferService() for DTC 8495840",
                    "~Server: DTC Server::~Server(): Diagnostics Monitor instance cleared for DTC 8495840",
                    "~Server: DTC Server::~Server(): StopOfferService() for DTC 8495841",
                    "~Server: DTC Server::~Server(): Diagnostics Monitor instance cleared for DTC 8495841",
                    "~Server: DTC Server::~Server(): StopOfferService() for DTC 8495842",
                    "~Server: DTC Server::~Server(): Diagnostics Monitor instance cleared for DTC 8495842"));
    EXPECT_EQ(withdrawn, 3) << "each while its monitor still stood";
}

TEST_F(ServerLife, WithoutInitOffersNothingAndKnowsNoCode) {
    auto server = Server::create();
    log.clear();
    server->start();
    EXPECT_THAT(texts(), ElementsAre("start: Starting DTC Server....",
                                     "start: DTC Server::start(): No instance of DTC available "));
    EXPECT_EQ(deliver(*server, SET_STATUS, message(CODE, 1)), eValError);
    EXPECT_THAT(texts(), Contains("setDtcState: Requested DTC is unmapped. Please configure the DTCServer "));
    server.reset();
    EXPECT_THAT(texts(), ElementsAre("~Server: DTC Server:: ~Server()"));
}

TEST_F(ServerLife, InstanceIsTheLastOneMadeWhileItLives) {
    EXPECT_EQ(Server::getDtcServerInstance(), nullptr);
    auto first = Server::create();
    EXPECT_EQ(Server::getDtcServerInstance(), first.get());
    auto second = Server::create();
    EXPECT_EQ(Server::getDtcServerInstance(), second.get());
    first.reset();
    EXPECT_EQ(Server::getDtcServerInstance(), second.get()) << "the first one's end is not the second's";
    second.reset();
    EXPECT_EQ(Server::getDtcServerInstance(), nullptr);
}

TEST_F(ServerLife, TransformsTwoStatesAndLeavesTheRestAlone) {
    auto const made = Server::create();
    auto& server = static_cast<Server&>(*made);
    using ac::dm::types::MonitorActionType;
    for (int state = 0; state < 256; ++state) {
        SCOPED_TRACE(state);
        constexpr auto UNTOUCHED = static_cast<MonitorActionType>(77);
        MonitorActionType out = UNTOUCHED;
        EXPECT_EQ(server.transformState(static_cast<unsigned char>(state), out), state < 2);
        EXPECT_EQ(static_cast<int>(out), state < 2 ? state : 77);
    }
}

TEST_F(ServerLife, NamesOfTheInstancesHoldTheirInvisibleMarks) {
    EXPECT_THAT(ac::dm::dem::DiagnosticMonitor::CODES, testing::ElementsAreArray(CODES));
    EXPECT_EQ(ac::dm::dem::DiagnosticMonitor::instance(CODE),
              "\xE2\x80\xAD"
              "8495840"
              "\xE2\x80\xAC");
    EXPECT_EQ(ac::dm::dem::DiagnosticMonitor::instance(CODE).size(), 13U);
}

}  // namespace
}  // namespace dtc_test
