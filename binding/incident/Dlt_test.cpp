#include "binding/incident/Dlt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binding/incident/incidents.h"
#include "platform/log/Memory_target.h"

namespace ac::com::cpp_binding::log {
namespace {

using ara::log::Capture;
using ara::log::Logger;
using ara::log::LogLevel;

Logger& logger() {
    return *ara::log::CreateLogger("TEST", "Tests of incidents");
}

/// An incident that counts how often its JSON is built.
struct Counting_incident : Unknown_instance_record {
    static constexpr char const* NAME = "Method_call_request_err";
    static constexpr LogLevel LEVEL = LogLevel::kError;
    explicit Counting_incident(int& counter) : built(counter) {}
    void keys(nlohmann::json&) const { ++built; }
    int& built;
};

class Dlt_test : public testing::Test {
protected:
    ac::com::log::target::Dlt sut{logger()};
    incidents::Offer_service const offer{{{"zvg::Service"}, {"1"}}};
};

TEST_F(Dlt_test, IncidentIsOneLineWithItsKeysInOrder) {
    Capture const log;
    sut.trace(incidents::Method_call_response_tx{{{{{{"zvg::Service"}, {"1"}}, 1}, 77}, 2}},
              Failure_text{"oh no"});
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(log.messages()[0].text,
              R"({"1_incident":{"1_id":"Method_call_response_tx",)"
              R"("2_service_id":{"1_id":"Service_id","string":"zvg::Service"},)"
              R"("3_instance_id":{"1_id":"Instance_id","2_string":"1"},)"
              R"("4_method_id":1,"5_method_call_id":77,"6_error_code":2},"2_data":{"1_what":"oh no"}})");
    EXPECT_EQ(log.messages()[0].context, "TEST");
    EXPECT_EQ(log.messages()[0].level, LogLevel::kDebug);
}

TEST_F(Dlt_test, WithoutArgumentsThereIsNoData) {
    Capture const log;
    sut.trace(offer);
    EXPECT_THAT(log.messages().at(0).text, testing::Not(testing::HasSubstr("2_data")));
}

TEST_F(Dlt_test, DisabledLevelBuildsNothing) {
    int built = 0;
    {
        Capture const log(LogLevel::kFatal);
        sut.trace(Counting_incident(built));
        EXPECT_EQ(built, 0);
        EXPECT_TRUE(log.messages().empty());
    }
    Capture const log(LogLevel::kError);
    sut.trace(Counting_incident(built));
    EXPECT_EQ(built, 1);
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(Dlt_test, LevelIsAskedOfTheLogger) {
    Capture const log(LogLevel::kWarn);
    EXPECT_TRUE(sut.is_log_enabled(LogLevel::kWarn));
    EXPECT_FALSE(sut.is_log_enabled(LogLevel::kInfo));
}

TEST_F(Dlt_test, IncidentMayBeTracedAtAnotherLevel) {
    Capture const log(LogLevel::kVerbose);
    sut.trace_at(LogLevel::kVerbose, offer);
    EXPECT_EQ(log.messages().at(0).level, LogLevel::kVerbose);
}

TEST_F(Dlt_test, LevelsThatAreNoneGoOutAsDebug) {
    std::vector<std::pair<int, int>> const levels{{1, 1}, {2, 2}, {3, 3}, {4, 4},  {5, 5},
                                                  {6, 6}, {7, 5}, {0, 5}, {255, 5}};
    for (auto const& [given, sent] : levels) {
        // The threshold is above all levels: what is shown is the level that the message carries.
        Capture const log(static_cast<LogLevel>(255));
        sut.trace_impl("text", static_cast<LogLevel>(given));
        ASSERT_EQ(log.messages().size(), 1U) << given;
        EXPECT_EQ(static_cast<int>(log.messages()[0].level), sent) << given;
        EXPECT_EQ(log.messages()[0].text, "text");
    }
}

TEST_F(Dlt_test, EmptyTextSendsNothing) {
    Capture const log;
    sut.trace_impl("", LogLevel::kError);
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(Dlt_test, ForeignBytesDoNotBreakTheLine) {
    Capture const log;
    sut.trace(offer, Failure_text{std::string("a\xFF\n\0b", 5)});
    EXPECT_THAT(log.messages().at(0).text, testing::HasSubstr("\"a\xEF\xBF\xBD\\n\\u0000b\""));
}

TEST_F(Dlt_test, DataIsToldWithItsType) {
    Capture const log;
    sut.trace(offer, Undefined_data{});
    std::uint16_t const value = 5;
    sut.trace(offer, Generated_data<std::uint16_t>{value});
    EXPECT_THAT(log.messages().at(0).text, testing::EndsWith(R"("2_data":{"1_type":"undefined_type"}})"));
    EXPECT_THAT(log.messages().at(1).text,
                testing::EndsWith(R"("2_data":{"1_type":"generated_type","2_value":5}})"));
}

TEST_F(Dlt_test, BindingAndServiceHaveTheirOwnContexts) {
    Capture const log;
    binding_log().trace(offer);
    ara::com::log::service_log().trace(ara::com::log::incidents::Service_instantiation_error{{{"9"}}});
    ASSERT_EQ(log.messages().size(), 2U);
    EXPECT_NE(log.messages()[0].context, log.messages()[1].context);
    EXPECT_EQ(log.messages()[1].text, R"({"1_incident":{"1_id":"Service_instantiation_error",)"
                                      R"("2_instance_id":{"1_id":"Instance_id","2_string":"9"}}})");
}

}  // namespace
}  // namespace ac::com::cpp_binding::log
