// Requests and their responses, whatever carries them.
#include "tools/tester/Payloads.h"
#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using testing::HasSubstr;

class UdsTest : public DoipTest {
protected:
    UdsTest() { makeVehicle(); }

    Response run(Message const& request, UdsSession session = UdsSession::standard, bool anySession = false) {
        Plan const plan = Uds(*vehicle, {}, anySession).plan(request, session);
        return plan.work ? finished(plan) : plan.response;
    }
    /// Does the work in whatever lanes it wants.
    static Response finished(Plan const& plan) {
        Progress progress = plan.lane;
        while (std::holds_alternative<std::size_t>(progress)) progress = plan.work();
        return std::get<Response>(progress);
    }
    std::string hexOf(std::string const& request, UdsSession session = UdsSession::standard) {
        return hex(run(bytes(request), session).bytes);
    }
    void report(std::uint32_t code, unsigned char state) {
        monitors.at(code)->event_updated(FakePort::bytes({state}));
    }
    void answerReads(char const* text, Payload const& payload, unsigned times = 1) {
        for (unsigned each = 0; each < times; ++each)
            identifier(text).script.push_back(FakePort::answered(0, payload));
    }
};

struct Row {
    char const* name;
    char const* request;
    char const* response;
    UdsSession session = UdsSession::standard;
};

TEST_F(UdsTest, EveryRequestHasItsResponse) {
    constexpr auto EXTENDED = UdsSession::extended;
    // 0x017D answers 8 bytes, 0x0688 was started, 0x81A2E0 has failed.
    constexpr Row ROWS[] = {
        // 0x10
        {"session without subfunction", "10", "7F 10 13"},
        {"session of subfunction 0", "10 00", "7F 10 12"},
        {"programming session", "10 02", "7F 10 12"},
        {"safety session", "10 04", "7F 10 12"},
        {"default session", "10 01", "50 01 00 32 01 F4"},
        {"extended session", "10 03", "50 03 00 32 01 F4"},
        {"default session, no response wanted", "10 81", "50 01 00 32 01 F4"},
        {"default session from the extended one", "10 01", "50 01 00 32 01 F4", EXTENDED},
        {"session too long", "10 01 00", "7F 10 13"},
        {"unknown session too long", "10 05 00", "7F 10 12"},
        {"unknown session, no response wanted", "10 80", "7F 10 12"},
        {"session too long, no response wanted", "10 81 00", "7F 10 13"},
        {"extended session once more", "10 03", "50 03 00 32 01 F4", EXTENDED},
        // 0x14
        {"clear nothing", "14", "7F 14 13"},
        {"clear one byte", "14 FF", "7F 14 13"},
        {"clear two bytes", "14 FF FF", "7F 14 13"},
        {"clear in a memory", "14 FF FF FF 00", "7F 14 13"},
        {"clear another group", "14 FF FF 33", "7F 14 31"},
        {"clear group 0", "14 00 00 00", "7F 14 31"},
        {"clear a code below", "14 81 A2 DF", "7F 14 31"},
        {"clear a code above", "14 81 A2 E3", "7F 14 31"},
        // 0x19
        {"codes without subfunction", "19", "7F 19 13"},
        {"codes of subfunction 0", "19 00", "7F 19 12"},
        {"snapshots", "19 03", "7F 19 12"},
        {"snapshot record", "19 04 81 A2 E0 FF", "7F 19 12"},
        {"extended data", "19 06 81 A2 E0 FF", "7F 19 12"},
        {"most recent code", "19 0D", "7F 19 12"},
        {"unknown subfunction of codes", "19 7F 00", "7F 19 12"},
        {"number without mask", "19 01", "7F 19 13"},
        {"number with two masks", "19 01 FF FF", "7F 19 13"},
        {"number of failed codes", "19 01 01", "59 01 39 01 00 01"},
        {"number of all codes", "19 01 FF", "59 01 39 01 00 03"},
        {"number by no bit", "19 01 00", "59 01 39 01 00 00"},
        {"number by bits that aren't kept", "19 01 C6", "59 01 39 01 00 00"},
        {"list without mask", "19 02", "7F 19 13"},
        {"list with two masks", "19 02 01 01", "7F 19 13"},
        {"list of failed codes", "19 02 01", "59 02 39 81 A2 E0 29"},
        {"list of confirmed codes", "19 02 08", "59 02 39 81 A2 E0 29"},
        {"list of untested codes", "19 02 10", "59 02 39 81 A2 E1 10 81 A2 E2 10"},
        {"list by no bit", "19 02 00", "59 02 39"},
        {"supported codes", "19 0A", "59 0A 39 81 A2 E0 29 81 A2 E1 10 81 A2 E2 10"},
        {"supported codes, no response wanted", "19 8A", "59 0A 39 81 A2 E0 29 81 A2 E1 10 81 A2 E2 10"},
        {"supported codes with a mask", "19 0A FF", "7F 19 13"},
        {"number of codes, no response wanted", "19 81 FF", "59 01 39 01 00 03"},
        {"list of codes, no response wanted", "19 82 01", "59 02 39 81 A2 E0 29"},
        {"list without mask, no response wanted", "19 82", "7F 19 13"},
        {"codes of subfunction 0, no response wanted", "19 80", "7F 19 12"},
        // 0x22
        {"read nothing", "22", "7F 22 13"},
        {"read half an identifier", "22 01", "7F 22 13"},
        {"read", "22 01 7D", "62 01 7D 01 02 03 04 05 06 07 08"},
        {"read one and a half", "22 01 7D 01", "7F 22 13"},
        {"read the unknown", "22 01 7E", "7F 22 31"},
        {"read two of the unknown", "22 12 34 F1 90", "7F 22 31"},
        {"read the known behind the unknown", "22 F1 90 01 7D", "62 01 7D 01 02 03 04 05 06 07 08"},
        {"read the known between the unknown", "22 F1 90 01 7D 00 00", "62 01 7D 01 02 03 04 05 06 07 08"},
        {"read twice the same", "22 01 7D 01 7D",
         "62 01 7D 01 02 03 04 05 06 07 08 01 7D 01 02 03 04 05 06 07 08"},
        {"read in the extended session", "22 01 7D", "62 01 7D 01 02 03 04 05 06 07 08", EXTENDED},
        {"read a routine", "22 06 87", "7F 22 31"},
        // 0x31
        {"routine without subfunction", "31", "7F 31 13"},
        {"routine of subfunction 0", "31 00 06 87", "7F 31 12"},
        {"routine of subfunction 4", "31 04 06 87", "7F 31 12"},
        {"unknown subfunction of an unknown routine", "31 04 12 34", "7F 31 12"},
        {"unknown subfunction and nothing else", "31 7F", "7F 31 12"},
        {"start in the default session", "31 01 06 87", "7F 31 7E"},
        {"stop in the default session", "31 02 06 87", "7F 31 7E"},
        {"start of nothing in the default session", "31 01", "7F 31 7E"},
        {"start of nothing", "31 01", "7F 31 13", EXTENDED},
        {"start of half a number", "31 01 06", "7F 31 13", EXTENDED},
        {"start of the unknown", "31 01 06 86", "7F 31 31", EXTENDED},
        {"start of the unknown with an option", "31 01 06 86 00", "7F 31 31", EXTENDED},
        {"start with an option", "31 01 06 87 00", "7F 31 13", EXTENDED},
        {"start", "31 01 06 87", "71 01 06 87", EXTENDED},
        {"start, no response wanted", "31 81 06 87", "71 01 06 87", EXTENDED},
        {"stop", "31 02 06 88", "71 02 06 88", EXTENDED},
        {"stop of what wasn't started", "31 02 06 89", "7F 31 24", EXTENDED},
        {"stop with an option", "31 02 06 89 00", "7F 31 13", EXTENDED},
        {"results of nothing", "31 03", "7F 31 13"},
        {"results of the unknown", "31 03 B0 47", "7F 31 31"},
        {"results of what wasn't started", "31 03 06 89", "7F 31 24"},
        {"results", "31 03 06 88", "71 03 06 88 31"},
        {"results in the extended session", "31 03 06 88", "71 03 06 88 31", EXTENDED},
        {"results with an option", "31 03 06 88 00", "7F 31 13"},
        {"results, no response wanted", "31 83 06 88", "71 03 06 88 31"},
        {"stop in the default session, no response wanted", "31 82 06 88", "7F 31 7E"},
        {"start of nothing, no response wanted", "31 81", "7F 31 13", EXTENDED},
        {"routine of subfunction 4, no response wanted", "31 84 06 87", "7F 31 12", EXTENDED},
        {"stop of the unknown", "31 02 06 86", "7F 31 31", EXTENDED},
        {"stop of nothing", "31 02", "7F 31 13", EXTENDED},
        {"results of half a number", "31 03 06", "7F 31 13"},
        // 0x3E
        {"presence without subfunction", "3E", "7F 3E 13"},
        {"presence", "3E 00", "7E 00"},
        {"presence, no response wanted", "3E 80", "7E 00"},
        {"presence of subfunction 1", "3E 01", "7F 3E 12"},
        {"presence too long", "3E 00 00", "7F 3E 13"},
        {"presence too long, no response wanted", "3E 80 00", "7F 3E 13"},
        {"presence of subfunction 1, no response wanted", "3E 81", "7F 3E 12"},
        {"presence of subfunction 1 too long", "3E 01 00", "7F 3E 12"},
        // what isn't there
        {"service 0", "00", "7F 00 11"},
        {"reset", "11 01", "7F 11 11"},
        {"memory", "23 14 00 00 00 01", "7F 23 11"},
        {"security access", "27 01", "7F 27 11"},
        {"communication control", "28 00 01", "7F 28 11"},
        {"authentication", "29 00", "7F 29 11"},
        {"write an identifier", "2E 01 7D 00", "7F 2E 11"},
        {"control an input", "2F 01 7D 00", "7F 2F 11"},
        {"download", "34 00 44 00 00 00 00 00 00 00 00", "7F 34 11"},
        {"secured data", "84 00", "7F 84 11"},
        {"control the setting of codes", "85 01", "7F 85 11"},
        {"a response", "62 01 7D", "7F 62 11"},
        {"a negative response", "7F 22 31", "7F 7F 11"},
        {"service FF", "FF", "7F FF 11"},
    };
    static_assert(std::size(ROWS) >= 100);
    routine("0688").script = {FakePort::answered(0)};
    run(bytes("31 01 06 88"), EXTENDED);
    report(0x81A2E0, 1);
    for (Row const& row : ROWS) {
        SCOPED_TRACE(row.name);
        identifier("017d").script.clear();
        answerReads("017d", bytes("01 02 03 04 05 06 07 08"), 2);
        routine("0687").script = {FakePort::answered(0)};
        bool const results = bytes(row.request).size() > 1 && (bytes(row.request)[1] & 0x7F) == 3;
        routine("0688").script = {FakePort::answered(0, results ? bytes("31") : Message())};
        EXPECT_EQ(hexOf(row.request, row.session), row.response);
    }
}

TEST_F(UdsTest, EveryOtherServiceIsNotSupportedHoweverLongTheRequest) {
    std::vector<unsigned> supported;
    for (unsigned service = 0; service < 256; ++service) {
        auto const number = static_cast<unsigned char>(service);
        for (std::size_t const size : {1U, 2U, 4095U}) {
            Message request(size, 0x01);
            request[0] = number;
            auto const response = run(request).bytes;
            if (response == Message{0x7F, number, 0x11}) continue;
            if (size == 1) supported.push_back(service);
        }
    }
    EXPECT_THAT(supported, testing::ElementsAre(0x10, 0x14, 0x19, 0x22, 0x31, 0x3E));
}

TEST_F(UdsTest, SuppressionIsForPositiveResponsesOfServicesWithSubfunctions) {
    Uds const uds(*vehicle, {}, false);
    for (char const* request : {"3E 80", "10 81", "10 83", "19 8A", "19 82 FF"})
        EXPECT_TRUE(uds.plan(bytes(request), UdsSession::standard).suppressPositive) << request;
    for (char const* request : {"3E 00", "10 01", "22 80 01", "14 FF FF FF", "22 B0 47"})
        EXPECT_FALSE(uds.plan(bytes(request), UdsSession::standard).suppressPositive) << request;
    EXPECT_TRUE(uds.plan(bytes("31 81 06 87"), UdsSession::extended).suppressPositive);
}

TEST_F(UdsTest, SessionCanBeLiftedFromRoutines) {
    routine("0687").script = {FakePort::answered(0)};
    EXPECT_EQ(hex(run(bytes("31 01 06 87"), UdsSession::standard, true).bytes), "71 01 06 87");
}

TEST_F(UdsTest, FailedReadHasTheCodeOfItsReason) {
    using eb::com::runtime::Call_outcome;
    struct {
        char const* name;
        std::optional<FakePort::Result> result;
        char const* response;
    } const rows[] = {
        {"error of the service", FakePort::answered(2, {0x26}), "7F 22 26"},
        {"another error of the service", FakePort::answered(2, {0x13}), "7F 22 13"},
        {"error of the service that would mean a pending response", FakePort::answered(2, {0x78}),
         "7F 22 10"},
        {"error of the service that would mean none", FakePort::answered(2, {0x00}), "7F 22 10"},
        {"no answer", std::nullopt, "7F 22 25"},
        {"nobody there", FakePort::failed(Call_outcome::not_available, "nobody"), "7F 22 22"},
        {"broken connection", FakePort::failed(Call_outcome::transport, "broken"), "7F 22 22"},
        {"given up", FakePort::failed(Call_outcome::cancelled, "given up"), "7F 22 22"},
        {"another return code", FakePort::answered(4), "7F 22 10"},
        {"payload that doesn't fit", FakePort::answered(0, {1, 2, 3}), "7F 22 10"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        makeVehicle({milliseconds(row.result ? 60'000 : 20), milliseconds(0), 1});
        identifier("b047").script = {row.result};
        EXPECT_EQ(hexOf("22 B0 47"), row.response);
    }
    ports.clear();
    Vehicle nothing(services, {}, milliseconds(0), {}, [](Sighting const&) {});
    EXPECT_EQ(nothing.problems().size(), 21U);
    EXPECT_EQ(hex(finished(Uds(nothing, {}, false).plan(bytes("22 B0 47"), UdsSession::standard)).bytes),
              "7F 22 22");
}

TEST_F(UdsTest, AReadWithoutAnAnswerIsRepeatedInALaneOfItsOwnAndComesBackOnceItIsAnswered) {
    // Given an identifier whose answer is lost once
    makeVehicle({milliseconds(20), milliseconds(0), 2});
    identifier("017d").script = {std::nullopt, FakePort::answered(0, Message(8))};
    Plan const plan = Uds(*vehicle, {}, false).plan(bytes("22 01 7D"), UdsSession::standard);
    EXPECT_EQ(plan.lane, Uds::IDENTIFIERS);
    // When
    Progress const first = plan.work();
    // Then
    ASSERT_TRUE(std::holds_alternative<std::size_t>(first));
    EXPECT_EQ(std::get<std::size_t>(first), Uds::SILENT_IDENTIFIERS);
    EXPECT_TRUE(vehicle->isSilent(*dataIdentifiers().find("017d")));
    EXPECT_EQ(hex(finished(plan).bytes), "62 01 7D 00 00 00 00 00 00 00 00");
    EXPECT_FALSE(vehicle->isSilent(*dataIdentifiers().find("017d")));
    EXPECT_EQ(identifier("017d").methods.size(), 2U) << "two attempts in all";
}

TEST_F(UdsTest, AnIdentifierThatStaysSilentIsAskedInThatLaneFromThenOnAndOthersOfItsRequestAreNot) {
    makeVehicle({milliseconds(20), milliseconds(0), 2});
    identifier("b047").script = {std::nullopt, std::nullopt};
    EXPECT_EQ(hexOf("22 B0 47"), "7F 22 25");
    identifier("b047").script = {FakePort::answered(0, timeLastClientPackage())};
    answerReads("017d", Message(8));
    Plan const plan = Uds(*vehicle, {}, false).plan(bytes("22 B0 47 01 7D"), UdsSession::standard);
    EXPECT_EQ(plan.lane, Uds::SILENT_IDENTIFIERS);
    EXPECT_EQ(std::get<std::size_t>(plan.work()), Uds::IDENTIFIERS);
    EXPECT_TRUE(finished(plan).isPositive());
}

TEST_F(UdsTest, OneFailedReadOfSeveralFailsThemAll) {
    answerReads("017d", Message(8));
    identifier("b047").script = {FakePort::answered(2, {0x26})};
    Response const response = run(bytes("22 01 7D B0 47"));
    EXPECT_EQ(hex(response.bytes), "7F 22 26");
    EXPECT_THAT(response.note, HasSubstr("failurePreventsExecutionOfRequestedAction: 0xB047"));
}

TEST_F(UdsTest, ReadsOfOneRequestComeOneAfterAnotherInItsOrder) {
    std::vector<std::string> order;
    identifier("b047").onCall = [&] { order.emplace_back("b047"); };
    identifier("017d").onCall = [&] { order.emplace_back("017d"); };
    answerReads("b047", timeLastClientPackage());
    answerReads("017d", Message(8));
    EXPECT_EQ(run(bytes("22 B0 47 01 7D")).bytes.size(), 1U + 2 + 54 + 2 + 8);
    EXPECT_THAT(order, testing::ElementsAre("b047", "017d"));
}

TEST_F(UdsTest, NumberOfIdentifiersAndLengthOfTheirResponseAreBounded) {
    Message const one = bytes("48 8C");
    Message request = bytes("22");
    for (int each = 0; each < 32; ++each) append(request, one);
    answerReads("488c", withLength({100}) + withLength(Payload(3200)), 32);
    EXPECT_EQ(hex(run(request).bytes), "7F 22 14");
    EXPECT_LT(identifier("488c").methods.size(), 32U);
    append(request, one);
    EXPECT_EQ(hex(run(request).bytes), "7F 22 13");
}

TEST_F(UdsTest, CodeKeepsThatItFailedUntilItIsCleared) {
    auto const status = [&] { return hexOf("19 02 FF").substr(9, 11); };
    EXPECT_EQ(status(), "81 A2 E0 10");
    report(0x81A2E0, 0);
    EXPECT_EQ(hexOf("19 0A").substr(9, 11), "81 A2 E0 00");
    report(0x81A2E0, 1);
    EXPECT_EQ(status(), "81 A2 E0 29");
    report(0x81A2E0, 0);
    EXPECT_EQ(status(), "81 A2 E0 28");
    EXPECT_EQ(hexOf("14 81 A2 E0"), "54");
    EXPECT_EQ(status(), "81 A2 E0 10");
    report(0x81A2E0, 1);
    EXPECT_EQ(status(), "81 A2 E0 29");
    report(0x81A2E1, 1);
    EXPECT_EQ(hexOf("14 FF FF FF"), "54");
    EXPECT_EQ(hexOf("19 02 FF"), "59 02 39 81 A2 E0 10 81 A2 E1 10 81 A2 E2 10");
}

TEST_F(UdsTest, StateThatMeansNothingChangesNothing) {
    report(0x81A2E0, 1);
    report(0x81A2E0, 2);
    monitors.at(0x81A2E0)->event_updated(FakePort::bytes({}));
    EXPECT_EQ(hexOf("19 02 01"), "59 02 39 81 A2 E0 29");
}

TEST_F(UdsTest, MonitorIsAskedForItsLastStateWheneverItIsFound) {
    using eb::com::runtime::Event_state;
    auto& monitor = port(*troubleCodes().find("8495840"));
    monitor.script = {FakePort::answered(0), FakePort::answered(0)};
    EXPECT_TRUE(monitor.methods.empty());
    for (auto const state : {Event_state::pending, Event_state::subscribed, Event_state::not_subscribed,
                             Event_state::subscribed})
        monitors.at(0x81A2E0)->event_state_changed(state);
    EXPECT_THAT(monitor.methods, testing::ElementsAre(METHOD_INIT_MONITOR, METHOD_INIT_MONITOR));
    EXPECT_THAT(monitor.requests, testing::Each(Payload{1}));
}

TEST_F(UdsTest, VehicleIsReadyWhenAllMonitorsAreThere) {
    using State = eb::com::runtime::Client::Service_state;
    EXPECT_FALSE(vehicle->isReady());
    for (auto const& [code, sink] : monitors) sink->service_state_changed(State::available);
    EXPECT_TRUE(vehicle->isReady());
    monitors.at(0x81A2E1)->service_state_changed(State::unavailable);
    EXPECT_FALSE(vehicle->isReady());
}

TEST_F(UdsTest, RequestIsDescribedForPeople) {
    EXPECT_EQ(describeRequest(bytes("22 B0 47 01")), "ReadDataByIdentifier 0xB047");
    EXPECT_EQ(describeRequest(bytes("22 B0 47 01 7D")), "ReadDataByIdentifier 0xB047 0x017D");
    EXPECT_EQ(describeRequest(bytes("31 81 06 87")), "RoutineControl startRoutine 0x0687");
    EXPECT_EQ(describeRequest(bytes("14 FF FF FF")), "ClearDiagnosticInformation 0xFFFFFF");
    EXPECT_EQ(describeRequest(bytes("31")), "RoutineControl");
    EXPECT_EQ(describeRequest(bytes("27 01")), "service 0x27");
}

}  // namespace
}  // namespace tester::doip
