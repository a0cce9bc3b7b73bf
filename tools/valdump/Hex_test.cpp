#include "tools/valdump/Hex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace valdump {

namespace {

std::string refusalOf(std::string_view text) {
    try {
        parseHex(text);
    } catch (BadInput const& error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace

TEST(Hex, IsTakenAsPeopleWriteIt) {
    std::vector<unsigned char> const bytes{0x7D, 0x01, 0xAB};
    for (auto const* text :
         {"7d01ab", "7D01AB", "0x7d01ab", "7D 01 AB", "0x7D, 0x01, 0XAB", "7d:01:ab", "7d01\nab\n",
          "\t7d01\r\n  ab", "7d,01,,ab;", "{0x7d, 0x1, 0xab}", "[7d 01 ab]", "7D-01-AB"}) {
        EXPECT_EQ(parseHex(text), bytes) << text;
    }
    EXPECT_THAT(parseHex(" \n"), testing::IsEmpty());
    EXPECT_THAT(parseHex("0x00"), testing::ElementsAre(0));
}

TEST(Hex, IsRefusedWithThePlace) {
    EXPECT_EQ(refusalOf("7d 0g"), "'g' at line 1, column 5 is no hex digit");
    EXPECT_EQ(refusalOf("7d01\nab xx"), "'x' at line 2, column 4 is no hex digit");
    EXPECT_EQ(refusalOf("7d 0 1"), "'0' at line 1, column 4 has an odd number of hex digits; a byte has two");
    EXPECT_EQ(refusalOf("\n7d0"),
              "'7d0' at line 2, column 1 has an odd number of hex digits; a byte has two");
    EXPECT_EQ(refusalOf("0x123"),
              "'123' at line 1, column 3 has an odd number of hex digits; a byte has two");
    EXPECT_EQ(refusalOf("\xEF\xBB\xBF"
                        "7d"),
              "the byte 0xef at line 1, column 1 is no hex digit");
    EXPECT_EQ(refusalOf(std::string(101, '7')),
              "'7777777777777777' at line 1, column 1 has an odd number of hex digits; a byte has two");
    EXPECT_EQ(refusalOf("0x"), "'' at line 1, column 3 has no hex digits; a byte has two");
}

TEST(Hex, IsWrittenForPeopleAndForPrograms) {
    std::vector<unsigned char> const bytes{0x7D, 0x01, 0xAB};
    EXPECT_EQ(spacedHex(bytes), "7D 01 AB");
    EXPECT_EQ(plainHex(bytes), "7d01ab");
    EXPECT_EQ(plainHex({}), "");
}

}  // namespace valdump
