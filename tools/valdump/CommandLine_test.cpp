// The whole program on streams.

#include "tools/valdump/CommandLine.h"

#include <array>
#include <chrono>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "codec/describe/Description.h"

namespace valdump {

using testing::HasSubstr;
using testing::StartsWith;

class CommandLine : public testing::Test {
protected:
    int run(std::vector<char const*> arguments, std::string const& input = "") {
        arguments.insert(arguments.begin(), "valdump");
        std::istringstream in(input);
        out.str("");
        err.str("");
        return valdump::run(static_cast<int>(arguments.size()), arguments.data(), {in, out, err});
    }

    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(CommandLine, APayloadIsShownAsTextAndFieldByField) {
    EXPECT_EQ(run({"2350"}, "7d0102000000020002001122\n"), ALL_GOOD);
    EXPECT_EQ(out.str(), R"(requestId:381;totalLength:2;offset:0;length:2;dataLength:2;data[2]:11,22;
2350 ValDiagnosticsresponseInd, VALDiagnosticsResponse_t, 12 bytes
     0  7D 01  requestId    381  the measurement that this answers
     2  02 00  totalLength  2
     4  00 00  offset       0
     6  02 00  length       2
     8  02 00  dataLength   2
    10  11 22  data[2]      |."|
)");
    EXPECT_EQ(err.str(), "");
}

TEST_F(CommandLine, TheMessageIsGivenByIdOrNameAndTheHexInAnyPieces) {
    run({"2350"}, "7d0102000000020002001122");
    std::string const expected = out.str();
    for (auto const& arguments : std::vector<std::vector<char const*>>{
             {"0x92E", "7d0102000000020002001122"},
             {"ValDiagnosticsresponseInd", "7d01", "0200", "0000020002001122"},
             {"2350", "0x7d,0x01, 02 00 00 00:02:00 0200 1122"}}) {
        EXPECT_EQ(run(arguments), ALL_GOOD);
        EXPECT_EQ(out.str(), expected);
    }
}

TEST_F(CommandLine, ARefusedPayloadIsToldWithFieldOffsetAndCode) {
    auto const refusal = [this](char const* message, char const* hex) {
        EXPECT_EQ(run({message, hex}), REFUSED) << hex;
        return err.str();
    };
    EXPECT_EQ(refusal("2350", "7d01 0200 0000 0200 0200 11"),
              "valdump: 2350 ValDiagnosticsresponseInd: eUnpackTruncated (4): `data` needs 2 bytes at offset "
              "10, the "
              "payload ends at 11\n");
    EXPECT_THAT(out.str(), HasSubstr("\n     8  02 00  dataLength   2\n"));
    EXPECT_EQ(refusal("2350", "7d01 0200 0000 0200 0000 1122"),
              "valdump: 2350 ValDiagnosticsresponseInd: eUnpackTrailingBytes (5): the record ends at offset "
              "10, and 2 "
              "bytes follow: 11 22\n");
    EXPECT_EQ(refusal("2350", "7d01 0200 0000 0200 f40f"),
              "valdump: 2350 ValDiagnosticsresponseInd: eUnpackArrayTooLong (8): `dataLength` at offset 8 "
              "counts 4084 "
              "elements of `data`, which holds at most 4083\n");
    EXPECT_EQ(refusal("ValDiagmgrJavaSetDtcStatusInd", "e0a2810000000000 04000000"),
              "valdump: 2937 ValDiagmgrJavaSetDtcStatusInd: eUnpackBadEnum (11): `status` at offset 8 is 4, "
              "and `tVALDTCStatus` "
              "accepts 0 to 3\n");
    EXPECT_EQ(run({"2350"}, ""), REFUSED);
    EXPECT_THAT(err.str(), HasSubstr("`requestId` needs 2 bytes at offset 0, the payload ends at 0"));
}

TEST_F(CommandLine, ARefusalIsToldInTheTermsOfItsField) {
    auto const refusal = [this](char const* message, char const* hex) {
        EXPECT_EQ(run({message, hex}), REFUSED) << hex;
        return err.str();
    };
    // Signed values with their sign, sets of bits as wide as they are
    EXPECT_THAT(refusal("705", "feffffff"),
                HasSubstr("`status` at offset 0 is -2, and `tRtmStatus` accepts -1 to 0\n"));
    EXPECT_THAT(refusal("562", "01"),
                HasSubstr("is 1, and `tBapEcallSupportedServices` accepts bits of 0x6e\n"));
    // A block by its bytes, an array of an array's element by the way to it
    EXPECT_THAT(refusal("2362", "07 0100 02 010203"),
                HasSubstr("`controlUnits` needs 4 bytes at offset 4, the payload ends at 7\n"));
    EXPECT_THAT(refusal("2888", "0100 02 01 41 ff"),
                HasSubstr("`offered[1].dataTypeLength` at offset 5 counts 255 elements of "
                          "`offered[1].dataType`, which holds at most 254\n"));
    // Of what follows, eight bytes
    EXPECT_THAT(refusal("2349", "7d01 0102030405060708"),
                HasSubstr("8 bytes follow: 01 02 03 04 05 06 07 08\n"));
    EXPECT_THAT(refusal("2349", "7d01 010203040506070809"),
                HasSubstr("9 bytes follow: 01 02 03 04 05 06 07 08 ...\n"));
}

TEST_F(CommandLine, WhatWasReadOfANestedRecordIsShown) {
    EXPECT_EQ(run({"2888", "0100 02 01 41 ff"}), REFUSED);
    EXPECT_THAT(out.str(), testing::EndsWith(R"(
     0  01 00  clientId            1
     2  02     offeredCount        2
     3         offered[2]
     3           [0]
     3  01         dataTypeLength  1
     4  41         dataType[1]     |A|
     5           [1]
     5  FF         dataTypeLength  255
)"));
}

TEST_F(CommandLine, ValuesHaveTheirNamesAndBytesTheirCharacters) {
    EXPECT_EQ(run({"665", "34010000 01000000 04000000 02 1f207e7f"}), ALL_GOOD);
    EXPECT_THAT(out.str(), testing::EndsWith(R"(
    12  02           controlParameter  2 eControlParameterStop
    13  1F 20 7E 7F  controlData[4]    |. ~.|
)"));
    EXPECT_EQ(run({"2304", "0201"}), ALL_GOOD);
    EXPECT_THAT(out.str(), HasSubstr("     0  02  value  true\n"));
}

TEST_F(CommandLine, AnArraysMeaningIsToldOnce) {
    EXPECT_EQ(run({"2362", "07 0100 02 0102 0304"}), ALL_GOOD);
    EXPECT_THAT(out.str(), testing::EndsWith(R"(
     4         controlUnits[2]     diagnostic addresses
     4  01 02    [0]             513
     6  03 04    [1]             1027
)"));
}

TEST_F(CommandLine, ALongArrayIsCutUnlessAllIsAskedFor) {
    std::string hex = "0100 16";
    for (int i = 0; i < 22; ++i) hex += " 01 41";
    EXPECT_EQ(run({"2888", hex.c_str()}), ALL_GOOD);
    EXPECT_THAT(out.str(), HasSubstr("           [19]\n"));
    EXPECT_THAT(out.str(),
                testing::EndsWith("    43  ...                        2 more elements; --all shows them\n"));
    EXPECT_EQ(run({"2888", "--all", hex.c_str()}), ALL_GOOD);
    EXPECT_THAT(out.str(), testing::EndsWith("           [21]\n    45  01         dataTypeLength  1\n    46  "
                                             "41         dataType[1]     |A|\n"));
}

TEST_F(CommandLine, WrongUseIsToldAndTriesNothing) {
    for (auto const& [arguments, text] : std::vector<std::pair<std::vector<char const*>, char const*>>{
             {{"600", "00"}, "there is no message '600'; valdump --list tells all"},
             {{"70000", "00"}, "there is no message '70000'"},
             {{"2350", "7d0"}, "'7d0' at line 1, column 1 has an odd number of hex digits"},
             {{}, "name a message"},
             {{"2350", "--file", "/does/not/exist"}, "cannot read '/does/not/exist'"},
             {{"2350", "--file", "/"}, "cannot read '/': it is a folder"},
             {{"--log", "/"}, "cannot read '/': it is a folder"},
             {{"--encode", "2350", "--json"}, "excludes"},
             {{"--encode", "2350", "--all"}, "excludes"},
             {{"--encode", "2350", "--list"}, "excludes"},
             {{"--list", "2350"}, "--list lists all messages"},
             {{"2350", "00", "--file", "-"}, "there is hex on the command line and a --file"},
             {{"--encode", "2350"}, "no JSON: parse error at line 1, column 1"},
             {{"--log", "a", "b"}, "one file is read at a time"},
             {{"--log", "--list"}, "excludes"},
             {{"--sideways"}, "sideways"}}) {
        EXPECT_EQ(run(arguments), USAGE) << text;
        EXPECT_EQ(out.str(), "");
        EXPECT_THAT(err.str(), HasSubstr(text));
    }
}

TEST_F(CommandLine, AMessageThatIsNearlyNamedIsSuggested) {
    auto const refusal = [this](char const* message) {
        EXPECT_EQ(run({message, "00"}), USAGE);
        return err.str();
    };
    std::string const right = "; did you mean 2350 ValDiagnosticsresponseInd?; valdump --list tells all\n";
    for (std::string const name :
         {"valDiagnosticsResponseInd", "VALDiagnosticsResponse_t", "tValDiagnosticsresponseIndds", "92e"}) {
        EXPECT_EQ(refusal(name.c_str()), "valdump: there is no message '" + name + "'" + right);
    }
    EXPECT_THAT(refusal("VALNull_t"),
                HasSubstr("; did you mean 2309 ValBatterycontrolchargestaterequestInd, 2311 "
                          "ValBatterycontrolclimatestaterequestInd, 2314 "
                          "ValBatterycontrolplugdisplaystaterequestInd or others?"));
}

TEST_F(CommandLine, OutputThatCannotBeWrittenIsNoSuccess) {
    for (auto const& arguments :
         std::vector<std::vector<char const*>>{{"2350"}, {"2350", "--json"}, {"--list"}, {"--log"}}) {
        out.setstate(std::ios::badbit);
        EXPECT_EQ(run(arguments, std::string(arguments[0] == std::string("--log") ? "-> 2350 " : "") +
                                     "7d0102000000020002001122"),
                  USAGE);
        EXPECT_THAT(err.str(), HasSubstr("valdump: cannot write the output\n"));
        out.clear();
    }
}

TEST_F(CommandLine, JsonTellsTheSame) {
    EXPECT_EQ(run({"2350", "7d01 0200 0000 0200 0200 11", "--json"}), REFUSED);
    auto const json = nlohmann::json::parse(out.str());
    EXPECT_EQ(json["error"]["code"], 4);
    EXPECT_EQ(json["error"]["name"], "eUnpackTruncated");
    EXPECT_EQ(json["error"]["field"], "data");
    EXPECT_EQ(json["error"]["offset"], 10);
    EXPECT_EQ(json["fields"], nullptr);
    EXPECT_EQ(json["layout"].size(), 5U);
}

TEST_F(CommandLine, JsonGoesBackToHex) {
    run({"2350", "7d0102000000020002001122", "--json"});
    EXPECT_EQ(run({"--encode", "2350"}, out.str()), ALL_GOOD);
    EXPECT_EQ(out.str(), "7d0102000000020002001122\n");
}

TEST_F(CommandLine, AListHasEveryMessage) {
    EXPECT_EQ(run({"--list"}), ALL_GOOD);
    auto const text = out.str();
    EXPECT_EQ(std::ranges::count(text, '\n'), std::ssize(codec::describe::messages()));
    EXPECT_THAT(text, testing::ContainsRegex(
                          " 2350  ValDiagnosticsresponseInd +10\\.\\.4093  VALDiagnosticsResponse_t\n"));
    EXPECT_EQ(run({"--list", "--json"}), ALL_GOOD);
    EXPECT_EQ(nlohmann::json::parse(out.str()).size(), codec::describe::messages().size());
}

TEST_F(CommandLine, ALogIsSearchedForMessages) {
    char const* const log = R"(VAL service is up
      <- 548  95 00 00 00 00  adaptation 149 changed (status 0x00)
      -> 547  95 00 00 00 05 00 00 00 04 00 00 00 00 2B  adaptation 149: 4 bytes 00 00 00 2B (transaction 5)
      <- 546  (empty)  something
      <- 666  11 22 33 ... 44 55  4083 bytes
12:34:56|140243|DiagAraService::120 Message with id 2349is already cashed
12:34:56 ValDiagnosticsrequestInd: 7d01
2349 bytes were read
2349 12 of 20 were read
<- 2349  7D 01  ad 14
)";
    EXPECT_EQ(run({"--log"}, log), REFUSED);
    EXPECT_EQ(out.str(), R"(== line 2:       <- 548  95 00 00 00 00  adaptation 149 changed (status 0x00)
548 DiagmgrAdaptationInd, tDiagmgrAdaptationIndds, 5 bytes
     0  95 00 00 00  adaptationId     149
     4  00           indicationValue  0
== line 3:       -> 547  95 00 00 00 05 00 00 00 04 00 00 00 00 2B  adaptation 149: 4 bytes 00 00 00 2B (transaction 5)
547 DiagmgrGetAdaptationResp, tDiagmgrGetAdaptationRespds, 14 bytes
     0  95 00 00 00  adaptationId   149
     4  05 00 00 00  transactionId  5
     8  04 00        length         4
    10  00 00 00 2B  data[4]        |...+|
== line 4:       <- 546  (empty)  something
546 DiagmgrGetAdaptationReq, tDiagmgrGetAdaptationReqds, 0 bytes
eUnpackTruncated (4): `adaptationId` needs 4 bytes at offset 0, the payload ends at 0
== line 5:       <- 666  11 22 33 ... 44 55  4083 bytes
666 DiagmgrJavaRoutineResp: the line leaves bytes out
== line 7: 12:34:56 ValDiagnosticsrequestInd: 7d01
value:381;
2349 ValDiagnosticsrequestInd, VALUInt16_t, 2 bytes
     0  7D 01  value  381
== line 10: <- 2349  7D 01  ad 14
value:381;
2349 ValDiagnosticsrequestInd, VALUInt16_t, 2 bytes
     0  7D 01  value  381
)");
    EXPECT_EQ(err.str(), "valdump: 4 good, 1 refused, 1 not whole in the log\n");
}

TEST_F(CommandLine, ALogMayWriteIdsAndBytesInOtherWays) {
    for (char const* const line : {"[2349]: 7d01", "2349: 0x7d, 0x01", "2349 0x7D,0x01", "2349 7d:01",
                                   "0x92D: 7D01\r", "<- 2349  0x7d, 0x01  adaptation"}) {
        EXPECT_EQ(run({"--log"}, line), ALL_GOOD) << line;
        EXPECT_THAT(out.str(), HasSubstr("value:381;")) << line;
    }
}

TEST_F(CommandLine, AMessageOfALogIsShownWhenItsLineHasCome) {
    // Given a service that writes its next line once it has seen the one before in the output
    class Service : public std::streambuf {
    public:
        explicit Service(std::ostringstream const& shown) : m_shown(shown) {}

        int seen = 0;

    private:
        int underflow() override {
            static constexpr std::array<char const*, 3> LINES{"2349: 7d01\n", "2349: 7e01\n", ""};
            static constexpr std::array<char const*, 3> BEFORE{"", "value:381;", "value:382;"};
            if (m_next == LINES.size()) return traits_type::eof();
            seen += m_shown.str().find(BEFORE[m_next]) != std::string::npos ? 1 : 0;
            m_line = LINES[m_next++];
            setg(m_line.data(), m_line.data(), m_line.data() + m_line.size());
            return m_line.empty() ? traits_type::eof() : traits_type::to_int_type(m_line[0]);
        }

        std::ostringstream const& m_shown;
        std::string m_line;
        std::size_t m_next = 0;
    } service(out);
    std::istream in(&service);
    char const* const arguments[] = {"valdump", "--log"};
    EXPECT_EQ(valdump::run(2, arguments, {in, out, err}), ALL_GOOD);
    EXPECT_EQ(service.seen, 3);
}

TEST_F(CommandLine, ALongLineOfNumbersIsReadOnce) {
    // 2349 is an id and two bytes as well: read again for each of them this would take minutes.
    std::string line;
    for (int i = 0; i < 50'000; ++i) line += "2349 ";
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(run({"--log"}, line + "bytes"), ALL_GOOD);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(run({"--log"}, line), REFUSED);
    EXPECT_EQ(err.str(), "valdump: 0 good, 1 refused, 0 not whole in the log\n");
}

TEST_F(CommandLine, ALogAsJsonIsALineForEachMessage) {
    EXPECT_EQ(run({"--log", "--json"}, "-> 548 95 00 00 00 00\nnothing\n-> 2349 7d01  x\n"), ALL_GOOD);
    std::istringstream lines(out.str());
    std::vector<std::pair<int, int>> found;
    for (std::string line; std::getline(lines, line);) {
        auto const json = nlohmann::json::parse(line);
        found.emplace_back(json["line"], json["id"]);
    }
    EXPECT_THAT(found, testing::ElementsAre(std::pair(1, 548), std::pair(3, 2349)));
}

TEST_F(CommandLine, ALongBlockIsCutUnlessAllIsAskedFor) {
    std::string const hex = "7d01 6400 0000 6400 6400" + std::string(200, '0');
    EXPECT_EQ(run({"2350", hex.c_str()}), ALL_GOOD);
    EXPECT_THAT(out.str(),
                HasSubstr("    74  ...                                   36 more bytes; --all shows them\n"));
    EXPECT_EQ(run({"2350", "--all", hex.c_str()}), ALL_GOOD);
    EXPECT_THAT(out.str(), testing::Not(HasSubstr("more bytes")));
    EXPECT_THAT(out.str(), HasSubstr("   106  00 00 00 00"));
}

TEST_F(CommandLine, HelpAndVersion) {
    EXPECT_EQ(run({"--help"}), ALL_GOOD);
    EXPECT_THAT(out.str(), HasSubstr("Exit codes:"));
    EXPECT_EQ(run({"--version"}), ALL_GOOD);
    EXPECT_THAT(out.str(), StartsWith("valdump "));
}

}  // namespace valdump
