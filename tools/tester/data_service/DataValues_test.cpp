#include "tools/tester/data_service/DataValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace tester {
namespace {

using testing::StartsWith;
using Bytes = std::vector<unsigned char>;

DataValues parse(std::string const& lines) {
    std::istringstream stream(lines);
    return DataValues::parse(stream, "values.txt");
}

std::string complaintAbout(std::string const& lines) {
    try {
        parse(lines);
        return "no complaint";
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
}

TEST(DataValuesTest, ReadsBytesTextsEmptyValuesAndErrors) {
    DataValues const values = parse(
        "# records\n\n2640 = 01 02 03 04 # four\r\n 0xC5F=\"a # b\"\n421 = empty\n1484 = error 3\n7 = "
        "0a0B\n");
    ASSERT_EQ(values.records().size(), 5U);
    EXPECT_EQ(values.find(2640)->bytes, (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(values.find(3167)->bytes, (Bytes{'a', ' ', '#', ' ', 'b'}));
    EXPECT_EQ(values.find(421)->bytes, Bytes{});
    EXPECT_EQ(values.find(421)->resultCode, 0U);
    EXPECT_EQ(values.find(1484)->resultCode, 3U);
    EXPECT_EQ(values.find(7)->bytes, (Bytes{10, 11}));
    EXPECT_EQ(values.find(8), nullptr);
}

TEST(DataValuesTest, ComplaintsNameFileLineAndWhatWasExpected) {
    struct Row {
        char const* lines;
        char const* complaint;
    };
    for (Row const& row : {
             Row{"2640", "values.txt:1: '2640' has to be RECORD = VALUE"},
             Row{"\n\nabc = 01", "values.txt:3: 'abc' has to be a record's number"},
             Row{"0x = 01", "values.txt:1: '0x' has to be a record's number"},
             Row{"-1 = 01", "values.txt:1: '-1' has to be a record's number"},
             Row{"4294967296 = 01", "values.txt:1: '4294967296' has to be a record's number"},
             Row{"1 = 012", "values.txt:1: '012' has to be bytes in hex"},
             Row{"1 = 0g", "values.txt:1: '0g' has to be bytes in hex"},
             Row{"1 =", "values.txt:1: '' has to be bytes in hex"},
             Row{"1 = \"open", "values.txt:1: '\"open' has to be bytes in hex"},
             Row{"1 = error 0", "values.txt:1: 'error 0': result code 0 is success"},
             Row{"1 = error x", "values.txt:1: 'x' has to be a record's number"},
             Row{"1 = 01\n0x1 = 02", "values.txt:2: record 1 (0x1) stands twice"},
         }) {
        SCOPED_TRACE(row.lines);
        EXPECT_THAT(complaintAbout(row.lines), StartsWith(row.complaint));
    }
    EXPECT_THROW(DataValues::load("/nowhere/values.txt"), std::invalid_argument);
}

TEST(DataValuesTest, HashTellsEveryChangeAndNothingElse) {
    DataValues values = parse("1 = 01\n2 = 02");
    std::uint64_t const before = values.hash();
    EXPECT_FALSE(values.set(1, {{1}, 0}));
    EXPECT_EQ(values.hash(), before);
    EXPECT_TRUE(values.set(1, {{0, 1}, 0}));
    EXPECT_NE(values.hash(), before);
    EXPECT_TRUE(values.set(1, {{}, 1}));
    EXPECT_TRUE(values.set(1, {{1}, 0}));
    EXPECT_EQ(values.hash(), before);
    EXPECT_TRUE(values.set(3, {}));
    EXPECT_NE(values.hash(), before);
}

TEST(DataValuesTest, ValuesReadBackAsTheyAreShown) {
    for (char const* const shown : {"01 02 FF", "empty", "error 4294967295"})
        EXPECT_EQ(text(parseDataRecord(shown)), shown);
    EXPECT_EQ(recordName(2640), "2640 (0xA50)");
}

}  // namespace
}  // namespace tester
