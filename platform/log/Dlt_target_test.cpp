#include "platform/log/Dlt_target.h"

#include <gtest/gtest.h>

namespace ara::log {
namespace {

std::string joined(std::list<std::string_view> const& pieces) {
    std::string text;
    for (std::string_view const piece : pieces) text += piece;
    return text;
}

TEST(Dlt_target_test, PieceIsTheLongestTextThatOneMessageTakes) {
    EXPECT_EQ(Dlt_target::PIECE_BYTES, 1383U);
}

TEST(Dlt_target_test, TextsAreCutWhereTheyAreTooLong) {
    for (std::size_t const size : {0U, 1U, 1382U, 1383U, 1384U, 2766U, 2767U, 70'000U}) {
        SCOPED_TRACE(size);
        std::string const text(size, 'a');
        auto const pieces = dltPieces(text);
        EXPECT_EQ(joined(pieces), text);
        EXPECT_EQ(pieces.size(), size == 0 ? 1 : (size + 1382) / 1383);
        for (std::string_view const piece : pieces) EXPECT_LE(piece.size(), 1383U);
    }
}

TEST(Dlt_target_test, CharactersOfSeveralBytesAreNotTorn) {
    std::string const character = "\xF0\x9F\x9A\x97";  // four bytes
    for (std::size_t before = 1379; before <= 1384; ++before) {
        SCOPED_TRACE(before);
        std::string const text = std::string(before, 'a') + character + character;
        auto const pieces = dltPieces(text);
        EXPECT_EQ(joined(pieces), text);
        ASSERT_EQ(pieces.size(), 2U);
        EXPECT_LE(pieces.front().size(), 1383U);
        EXPECT_NE(static_cast<unsigned char>(pieces.back().front()) & 0xC0U, 0x80U);
    }
}

TEST(Dlt_target_test, BytesThatAreNoTextAreCutAnywhere) {
    std::string const text(5000, '\x80');
    auto const pieces = dltPieces(text);
    EXPECT_EQ(joined(pieces), text);
    EXPECT_EQ(pieces.size(), 4U);
}

}  // namespace
}  // namespace ara::log
