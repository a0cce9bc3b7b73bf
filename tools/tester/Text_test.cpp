#include "tools/tester/Text.h"

#include <vector>

#include <gtest/gtest.h>

namespace tester {
namespace {

std::vector<unsigned char> counting(std::size_t count) {
    std::vector<unsigned char> bytes;
    for (std::size_t value = 0; value < count; ++value) bytes.push_back(static_cast<unsigned char>(value));
    return bytes;
}

TEST(Text, NumbersAreFourAndTwoDigits) {
    EXPECT_EQ(hexNumber(0xB047), "0xB047");
    EXPECT_EQ(hexNumber(0x17D), "0x017D");
    EXPECT_EQ(hexNumber(0x81A2E0), "0x81A2E0");
    EXPECT_EQ(hexByte(4), "0x04");
}

TEST(Text, ShortBytesStandWhole) {
    EXPECT_EQ(hex({}, 8), "");
    EXPECT_EQ(hex(counting(8), 8), "00 01 02 03 04 05 06 07");
}

TEST(Text, LongBytesAreCutInTheMiddle) {
    EXPECT_EQ(hex(counting(54), 8), "00 01 02 03 ... 32 33 34 35");
    EXPECT_EQ(hex(counting(54), 7), "00 01 02 03 ... 33 34 35");
}

TEST(Text, PlainHexIsNeverCut) {
    EXPECT_EQ(hexPlain(counting(300)).size(), 600U);
}

TEST(Text, DumpHasOffsetsHexAndCharacters) {
    // Given seventeen bytes, some of them letters
    std::vector<unsigned char> bytes = counting(17);
    bytes[3] = 'A';
    bytes[16] = '~';
    // Then the second line is padded like the first
    EXPECT_EQ(hexDump(bytes),
              "0000  00 01 02 41 04 05 06 07  08 09 0A 0B 0C 0D 0E 0F  |...A............|\n"
              "0010  7E                                                |~|\n");
    EXPECT_EQ(hexDump({}), "");
}

TEST(Text, PrintableNeedsFourCharactersAndOnlyZerosBehind) {
    auto const text = [](std::string const& content) {
        return printable({reinterpret_cast<unsigned char const*>(content.data()), content.size()});
    };
    EXPECT_EQ(text("2026"), "2026");
    EXPECT_EQ(text(std::string("2026\0\0", 6)), "2026");
    EXPECT_EQ(text("202"), std::nullopt);
    EXPECT_EQ(text(std::string("2026\0x", 6)), std::nullopt);
    EXPECT_EQ(text("20\n26"), std::nullopt);
    EXPECT_EQ(text("caf\xC3\xA9"), std::nullopt);
    EXPECT_EQ(text(""), std::nullopt);
}

TEST(Text, MarksOfWritingDirectionAreMadeVisible) {
    EXPECT_EQ(visible("\u202D8495840\u202C"), "<U+202D>8495840<U+202C>");
    EXPECT_EQ(visible("\u202A\u202E\u202B"), "<U+202A><U+202E><U+202B>");
    EXPECT_EQ(visible("1"), "1");
    EXPECT_EQ(visible("\u2029\u202F"), "\u2029\u202F") << "their neighbours are none";
    EXPECT_EQ(visible("\xE2\x80"), "\xE2\x80") << "cut in its middle";
}

TEST(Text, ColumnsAreCutAndPadded) {
    EXPECT_EQ(cut("abcdefgh", 8), "abcdefgh");
    EXPECT_EQ(cut("abcdefghi", 8), "abcde...");
    EXPECT_EQ(padRight("ab", 4), "ab  ");
    EXPECT_EQ(padLeft("ab", 4), "  ab");
    EXPECT_EQ(padLeft("abcdef", 4), "abcdef");
}

TEST(Text, CountsKnowTheirPlural) {
    EXPECT_EQ(counted(1, "attempt"), "1 attempt");
    EXPECT_EQ(counted(0, "byte"), "0 bytes");
    EXPECT_EQ(counted(2, "byte"), "2 bytes");
}

}  // namespace
}  // namespace tester
