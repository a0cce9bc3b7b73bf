#include "core/Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <locale>
#include <numeric>
#include <optional>
#include <sstream>
#include <thread>

#include "codec/Primitives.h"
#include "platform/log/Memory_target.h"

namespace {

using ara::log::LogLevel;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using zvg::val::Trace;
namespace level = zvg::val::level;

class TraceLine : public testing::Test {
protected:
    TraceLine() {
        Trace::mLogLevel = 5;
        Trace::g_loggerCtx = ara::log::CreateLogger("DIAG", "DIAG logging context");
    }

    std::vector<std::string> sent() const {
        std::vector<std::string> texts;
        for (auto const& message : capture.messages("DIAG")) texts.push_back(message.text);
        return texts;
    }

    ara::log::Capture capture;
};

TEST_F(TraceLine, HasClockThreadPrefixLineFunctionAndText) {
    int const here = __LINE__ + 1;
    Trace::out(level::INFO, "Bridge::", TRACE_HERE, "answer ", 42, '!');
    std::ostringstream expected;
    expected << '|' << std::this_thread::get_id() << "|Bridge::" << here << "::TestBody() answer 42!\n";
    auto const lines = sent();
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].substr(8), expected.str());
    EXPECT_THAT(lines[0].substr(0, 8), MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

TEST_F(TraceLine, ShowsTheLocalWallClock) {
    auto const clock = [] {
        std::time_t const now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        char text[9];
        std::strftime(text, sizeof text, "%H:%M:%S", &local);
        return std::string(text);
    };
    setenv("TZ", "XYZ-05:30", 1);  // nowhere else
    tzset();
    auto const before = clock();
    Trace::out(level::INFO, "now");
    auto const after = clock();
    unsetenv("TZ");
    tzset();
    EXPECT_THAT(sent().at(0).substr(0, 8), testing::AnyOf(before, after));
}

TEST_F(TraceLine, WithoutPrefixBeginsWithTheLineNumber) {
    rangeCheckErrorLog("tColour", 7);
    auto const messages = capture.messages("DIAG");
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages[0].level, LogLevel::kError);
    EXPECT_THAT(messages[0].text, MatchesRegex("[0-9:]+\\|[0-9]+\\|[0-9]+::rangeCheckErrorLog\\(\\) "
                                               "enum rangecheck failure for enumeration tColour value7\n"));
}

TEST_F(TraceLine, IsLostFromANullTextOn) {
    Trace::out(level::INFO, "before ", static_cast<char const*>(nullptr), "after");
    EXPECT_THAT(sent(), ElementsAre(MatchesRegex("[0-9:]+\\|[0-9]+\\|before ")));
}

TEST_F(TraceLine, WritesNumbersWithoutSeparatorsWhateverTheGlobalLocale) {
    struct Grouped : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const before = std::locale::global(std::locale(std::locale::classic(), new Grouped));
    Trace::out(level::INFO, 1234567);
    std::locale::global(before);
    EXPECT_THAT(sent(), ElementsAre(MatchesRegex("[0-9:]+\\|[0-9]+\\|1234567\n")));
}

TEST_F(TraceLine, IsNeitherSentNorMissedBeforeThereIsALogger) {
    Trace::g_loggerCtx = nullptr;
    Trace::out(level::ERROR, "not written");
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(TraceLine, IsNotSentWhileTheSwitchIsOff) {
    Trace::mLogLevel = 0;
    Trace::out(level::ERROR, "not written");
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(TraceLine, IsNotSentAtANegativeSwitch) {
    Trace::mLogLevel = -1;
    Trace::out(level::ERROR, "not written");
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(TraceLine, KeepsItsLevelInEveryPiece) {
    Trace::out(level::ERROR, std::string(3000, 'x'));
    auto const messages = capture.messages("DIAG");
    ASSERT_THAT(messages, SizeIs(3));
    for (auto const& message : messages) EXPECT_EQ(message.level, LogLevel::kError);
}

TEST_F(TraceLine, IsTheTextAloneForSendNativeString) {
    std::string text = "as it is";
    Trace::sendNativeString(text.data(), 3);
    Trace::sendNativeString(text.data(), 0);
    auto const messages = capture.messages("DIAG");
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages[0].level, LogLevel::kWarn);
    EXPECT_EQ(messages[0].text, "as it is");
}

TEST_F(TraceLine, CanCarryTheNameOfTheFunctionAroundALambda) {
    [function = __func__] { Trace::out(level::INFO, TRACE_IN(function), "text"); }();
    EXPECT_THAT(sent(), ElementsAre(testing::HasSubstr("::TestBody() text")));
}

TEST_F(TraceLine, OfAnyLevelIsSentAtTheLowestSwitch) {
    Trace::mLogLevel = 1;
    Trace::out(level::DETAIL, "detail");
    EXPECT_THAT(sent(), SizeIs(1));
}

TEST_F(TraceLine, PairTellsTheBuild) {
    Trace::printBuildInfo();
    auto const messages = capture.messages("DIAG");
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(messages[0].level, LogLevel::kInfo);
    EXPECT_EQ(messages[1].level, LogLevel::kInfo);
    EXPECT_THAT(messages[0].text, MatchesRegex("[0-9:]+\\|[0-9]+\\|osal api version 28\\.3\\.0\n"));
    EXPECT_THAT(messages[1].text, MatchesRegex("[0-9:]+\\|[0-9]+\\|variant ................\n"));
}

TEST_F(TraceLine, OfManyThreadsStaysInOnePiece) {
    constexpr int THREADS = 8;
    constexpr int LINES = 100;
    std::vector<std::thread> threads;
    for (int number = 0; number < THREADS; ++number) {
        threads.emplace_back([number] {
            for (int i = 0; i < LINES; ++i)
                Trace::out(level::INFO, std::string(2000, static_cast<char>('a' + number)));
        });
    }
    for (auto& thread : threads) thread.join();

    auto const pieces = sent();
    ASSERT_THAT(pieces, SizeIs(2 * THREADS * LINES));
    for (std::size_t i = 0; i < pieces.size(); i += 2) {
        EXPECT_THAT(pieces[i], SizeIs(1383));
        EXPECT_EQ(pieces[i + 1].back(), '\n');
        EXPECT_EQ(pieces[i].back(), pieces[i + 1].front());
    }
}

struct LevelRow {
    int level;
    std::optional<LogLevel> sent;
};

class TraceLevel : public TraceLine, public testing::WithParamInterface<LevelRow> {};

TEST_P(TraceLevel, ArrivesAsTheTableSays) {
    Trace::out(GetParam().level, "text");
    auto const messages = capture.messages("DIAG");
    if (GetParam().sent) {
        ASSERT_THAT(messages, SizeIs(1));
        EXPECT_EQ(messages[0].level, *GetParam().sent);
    } else {
        EXPECT_THAT(messages, IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TraceLevel,
                         testing::Values(LevelRow{0, std::nullopt}, LevelRow{1, LogLevel::kFatal},
                                         LevelRow{2, LogLevel::kError}, LevelRow{3, LogLevel::kWarn},
                                         LevelRow{4, LogLevel::kInfo}, LevelRow{5, LogLevel::kInfo},
                                         LevelRow{6, LogLevel::kVerbose}, LevelRow{7, LogLevel::kInfo},
                                         LevelRow{-1, LogLevel::kInfo}, LevelRow{1000, LogLevel::kInfo}));

struct PieceRow {
    std::size_t line;
    std::vector<std::size_t> pieces;
};

class TraceLength : public TraceLine, public testing::WithParamInterface<PieceRow> {};

TEST_P(TraceLength, LeavesInPiecesOf1383Bytes) {
    Trace::out(level::INFO, "");
    std::size_t const frame = sent().at(0).size();  // clock, thread, newline
    capture.clear();

    std::string text(GetParam().line - frame, ' ');
    std::iota(text.begin(), text.end(), '\0');
    for (char& character : text)
        character = static_cast<char>('a' + static_cast<unsigned char>(character) % 26);
    Trace::out(level::INFO, text.c_str());

    std::string whole;
    std::vector<std::size_t> sizes;
    for (auto const& piece : sent()) {
        whole += piece;
        sizes.push_back(piece.size());
    }
    EXPECT_EQ(sizes, GetParam().pieces);
    EXPECT_EQ(whole.substr(frame - 1), text + '\n');
}

INSTANTIATE_TEST_SUITE_P(Rows, TraceLength,
                         testing::Values(PieceRow{100, {100}}, PieceRow{1382, {1382}}, PieceRow{1383, {1383}},
                                         PieceRow{1384, {1383, 1}}, PieceRow{2766, {1383, 1383}},
                                         PieceRow{2767, {1383, 1383, 1}}, PieceRow{3000, {1383, 1383, 234}}));

}  // namespace
