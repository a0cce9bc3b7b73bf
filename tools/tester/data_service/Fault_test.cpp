#include "tools/tester/data_service/Fault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

namespace tester {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;
using Kind = Fault::Kind;
using Target = Fault::Target;

std::string complaintAboutFault(std::string const& line) {
    try {
        parseFault(line);
        return "no complaint";
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
}

TEST(FaultTest, ReadsEveryKindWithItsArgument) {
    struct Row {
        char const* line;
        Target target;
        Kind kind;
        std::chrono::milliseconds delay;
        std::uint32_t number;
        std::vector<unsigned char> bytes;
    };
    for (Row const& row : {
             Row{"2640 slow 2.9s", Target::record, Kind::slow, 2900ms, 0, {}},
             Row{"all slow 15ms", Target::allRecords, Kind::slow, 15ms, 0, {}},
             Row{"all slow 2", Target::allRecords, Kind::slow, 2000ms, 0, {}},
             Row{"0xA50 silent", Target::record, Kind::silent, 0ms, 0, {}},
             Row{"all code 0xFF", Target::allRecords, Kind::code, 0ms, 255, {}},
             Row{"all result 7", Target::allRecords, Kind::result, 0ms, 7, {}},
             Row{"all garbage 00 FF for 3", Target::allRecords, Kind::garbage, 0ms, 0, {0, 255}},
             Row{"all garbage nothing", Target::allRecords, Kind::garbage, 0ms, 0, {}},
             Row{"all clear", Target::allRecords, Kind::clear, 0ms, 0, {}},
             Row{"notify twice", Target::notify, Kind::twice, 0ms, 0, {}},
             Row{"notify silent", Target::notify, Kind::silent, 0ms, 0, {}},
             Row{"notify slow 1s", Target::notify, Kind::slow, 1s, 0, {}},
             Row{"notify garbage 01", Target::notify, Kind::garbage, 0ms, 0, {1}},
             Row{"service gone", Target::service, Kind::gone, 0ms, 0, {}},
             Row{"service back", Target::service, Kind::back, 0ms, 0, {}},
             Row{"service restart", Target::service, Kind::restart, 0ms, 0, {}},
         }) {
        SCOPED_TRACE(row.line);
        Fault const fault = parseFault(row.line);
        EXPECT_EQ(fault.target, row.target);
        EXPECT_EQ(fault.record, row.target == Target::record ? 2640U : 0U);
        EXPECT_EQ(fault.kind, row.kind);
        EXPECT_EQ(fault.delay, row.delay);
        EXPECT_EQ(fault.number, row.number);
        EXPECT_EQ(fault.bytes, row.bytes);
        EXPECT_EQ(fault.line, row.line);
    }
}

TEST(FaultTest, ReadsWhenItBeginsAndEnds) {
    Fault const timed = parseFault("at 5s all silent for 4s");
    EXPECT_EQ(timed.at, 5s);
    EXPECT_EQ(timed.lasting, 4s);
    EXPECT_FALSE(timed.times);
    Fault const counted = parseFault("all silent times 3");
    EXPECT_EQ(counted.at, 0s);
    EXPECT_FALSE(counted.lasting);
    EXPECT_EQ(counted.times, 3U);
}

TEST(FaultTest, ComplaintsQuoteTheWordAndTellWhatMayStandThere) {
    struct Row {
        char const* line;
        char const* complaint;
    };
    for (Row const& row : {
             Row{"", "the line ends where a record's number, all, notify or service"},
             Row{"nobody slow 1", "'nobody' has to be a record's number, all, notify or service"},
             Row{"all", "the line ends where one of"},
             Row{"all gone", "'gone' has to be one of clear, code, garbage, result, silent, slow"},
             Row{"notify code 3", "'code' has to be one of clear, garbage, silent, slow, twice"},
             Row{"service slow 3", "'slow' has to be one of back, gone, restart"},
             Row{"all slow", "the line ends where a time such as"},
             Row{"all slow soon", "'soon' has to be a time"},
             Row{"all slow 3h", "'3h' has to be a time"},
             Row{"all slow -1s", "'-1s' has to be a time"},
             Row{"all slow nan", "'nan' has to be a time"},
             Row{"all slow 9999s", "'9999s' has to be a time"},
             Row{"all code 0", "'0' has to be a number from 1 to 255"},
             Row{"all code 256", "'256' has to be a number from 1 to 255"},
             Row{"all garbage 0", "has to be bytes in hex"},
             Row{"all silent until 3", "'until' is too much"},
             Row{"all silent times 0", "'0' has to be a number from 1"},
             Row{"at noon all silent", "'noon' has to be a time"},
         }) {
        SCOPED_TRACE(row.line);
        EXPECT_THAT(complaintAboutFault(row.line), HasSubstr(row.complaint));
    }
}

class FaultsTest : public testing::Test {
protected:
    void begin(char const* line) { faults.begin(parseFault(line), now); }
    /// The line of the fault that a call of 2640 meets.
    std::string met() {
        auto const fault = faults.ofRecord(2640, now);
        return fault ? fault->line : "none";
    }

    Faults faults;
    std::chrono::steady_clock::time_point now{};
};

TEST_F(FaultsTest, RecordsOwnFaultGoesBeforeThatOfAll) {
    begin("all silent");
    begin("2640 result 1");
    EXPECT_EQ(met(), "2640 result 1");
    EXPECT_EQ(faults.ofRecord(421, now)->line, "all silent");
    begin("2640 clear");
    EXPECT_EQ(met(), "all silent");
    begin("all clear");
    EXPECT_EQ(met(), "none");
}

TEST_F(FaultsTest, LaterFaultTakesThePlaceOfTheEarlier) {
    begin("2640 silent");
    begin("2640 result 1");
    EXPECT_EQ(met(), "2640 result 1");
    begin("2640 clear");
    EXPECT_EQ(met(), "none");
}

TEST_F(FaultsTest, EndsAfterItsTimeOrItsCount) {
    begin("2640 silent for 4s");
    now += 4s - 1ms;
    EXPECT_EQ(met(), "2640 silent for 4s");
    now += 1ms;
    EXPECT_EQ(met(), "none");
    begin("2640 silent times 2");
    EXPECT_EQ(met(), "2640 silent times 2");
    EXPECT_EQ(met(), "2640 silent times 2");
    EXPECT_EQ(met(), "none");
}

TEST_F(FaultsTest, NotificationsHaveFaultsOfTheirOwn) {
    begin("all silent");
    EXPECT_FALSE(faults.ofNotification(now));
    begin("notify twice");
    begin("all clear");
    EXPECT_EQ(faults.ofNotification(now)->kind, Kind::twice);
    begin("notify clear");
    EXPECT_FALSE(faults.ofNotification(now));
}

TEST(ScenarioTest, ComplaintsNameFileAndLine) {
    std::string const path = testing::TempDir() + "scenario" + std::to_string(getpid());
    std::ofstream(path) << "# a day\nat 1 all silent for 2   # two seconds\n\nall nonsense\n";
    try {
        loadScenario(path);
        FAIL() << "no complaint";
    } catch (std::invalid_argument const& error) {
        EXPECT_THAT(error.what(), HasSubstr(path + ":4: 'nonsense' has to be one of"));
    }
    std::ofstream(path) << "at 1 all silent for 2   # two seconds\nservice gone for 1\n";
    EXPECT_EQ(loadScenario(path).size(), 2U);
    std::filesystem::remove(path);
    EXPECT_THROW(loadScenario(path), std::invalid_argument);
}

}  // namespace
}  // namespace tester
