// Name, keys and level of every incident, and that the manual's table says the same.
#include "binding/incident/incidents.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "binding/incident/Dlt.h"
#include "platform/log/Memory_target.h"
#include "tests/support/Allocations.h"

namespace ac::com::cpp_binding::log {
namespace {

using Keys = std::vector<std::string>;

struct Row {
    std::string name;
    int level;
    Keys keys;
    bool operator==(Row const&) const = default;
};

void PrintTo(Row const& row, std::ostream* out) {
    *out << row.name;
}

Row rowOf(nlohmann::json const& json, ara::log::LogLevel level) {
    Keys keys;
    for (auto const& [key, value] : json.items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys.at(0), "1_id");
    keys.erase(keys.begin());
    return {json.at("1_id"), static_cast<int>(level), keys};
}

Keys const INSTANCE{"2_service_id", "3_instance_id"};
Keys const METHOD{"2_service_id", "3_instance_id", "4_method_id"};
Keys const METHOD_ERROR{"2_service_id", "3_instance_id", "4_method_id", "5_error_code"};
Keys const CONSTRUCTION{"2_service_id", "3_instance_id", "4_struct4bytes", "5_utf8simple"};

struct Incident_case {
    Row expected;
    Row actual;
    void (*trace)(bool& made);
};

/// Traces an incident whose record and data have texts that stand on the heap.
template <class Incident>
void trace(bool& made) {
    binding_log().trace([&] { return made = true, Incident{}; },
                        [&] { return Failure_text{std::string(1000, 'x')}; });
}

template <class Incident>
Incident_case check(std::string name, int level, Keys keys) {
    return {{std::move(name), level, std::move(keys)}, rowOf(Incident{}, Incident::LEVEL), &trace<Incident>};
}

#define CHECK_INCIDENT(Name, Level, ...) check<incidents::Name>(#Name, Level, __VA_ARGS__)

std::vector<Incident_case> all() {
    return {
        check<ara::com::log::incidents::Service_instantiation_error>("Service_instantiation_error", 2,
                                                                     {"2_instance_id"}),
        CHECK_INCIDENT(Method_call_request_err, 2, METHOD_ERROR),
        CHECK_INCIDENT(Method_call_request_process, 2,
                       {"2_service_id", "3_instance_id", "4_method_id", "5_method_call_id"}),
        CHECK_INCIDENT(Method_call_request_exception, 1, METHOD),
        CHECK_INCIDENT(Method_call_response_tx, 5,
                       {"2_service_id", "3_instance_id", "4_method_id", "5_method_call_id", "6_error_code"}),
        CHECK_INCIDENT(Offer_service, 4, INSTANCE),
        CHECK_INCIDENT(Stop_offer_service, 4, INSTANCE),
        CHECK_INCIDENT(Service_skeleton_constructed, 4, CONSTRUCTION),
        CHECK_INCIDENT(Event_update_tx, 5, {"2_Event_id"}),
        CHECK_INCIDENT(Event_request_update_err, 2, {"2_service_id", "3_instance_id", "4_event_id"}),
        CHECK_INCIDENT(Event_update_rx, 5, INSTANCE),
        CHECK_INCIDENT(Event_update_when_not_subscribed, 5, INSTANCE),
        CHECK_INCIDENT(Event_deserialize_exception, 2, INSTANCE),
        CHECK_INCIDENT(Event_state_handler_exception, 2, INSTANCE),
        CHECK_INCIDENT(Event_receive_handler_exception, 2, INSTANCE),
        CHECK_INCIDENT(Event_receive_handler, 6, INSTANCE),
        CHECK_INCIDENT(Event_cache_update, 6, INSTANCE),
        CHECK_INCIDENT(Field_subscribe, 4, INSTANCE),
        CHECK_INCIDENT(Field_unsubscribe, 4, INSTANCE),
        CHECK_INCIDENT(Find_service_result, 4, INSTANCE),
        CHECK_INCIDENT(Find_service_handler_exception, 2, INSTANCE),
        CHECK_INCIDENT(Find_service_start, 4, INSTANCE),
        CHECK_INCIDENT(Find_service_stop, 4, INSTANCE),
        CHECK_INCIDENT(Event_receive_handler_performance, 3, {"2_service_id", "3_instance_id", "5_time"}),
        CHECK_INCIDENT(Event_state_handler_performance, 3, {"2_service_id", "3_instance_id", "5_time"}),
        CHECK_INCIDENT(Find_service_handler_performance, 3, {"2_service_id", "3_instance_id", "4_time"}),
        CHECK_INCIDENT(Method_call_request_tx, 5, METHOD),
        CHECK_INCIDENT(Method_call_request_cancelled, 4, METHOD),
        CHECK_INCIDENT(Method_call_response_rx, 5, METHOD_ERROR),
        CHECK_INCIDENT(Method_call_response_invalid_code, 2, METHOD_ERROR),
        CHECK_INCIDENT(Method_call_deserializer_exception, 2, METHOD_ERROR),
        CHECK_INCIDENT(Service_proxy_constructed, 4, CONSTRUCTION),
    };
}

class Incident_of : public testing::TestWithParam<Incident_case> {};

TEST_P(Incident_of, HasNameLevelAndKeys) {
    auto const& [expected, actual, _] = GetParam();
    EXPECT_EQ(actual.name, expected.name);
    EXPECT_EQ(actual.level, expected.level);
    EXPECT_EQ(actual.keys, expected.keys);
}

TEST_P(Incident_of, AllocatesAndMakesNothingWhereItsLevelIsOff) {
    bool made = false;
    auto const level = GetParam().expected.level;
    {
        ara::log::Capture const log(static_cast<ara::log::LogLevel>(level - 1));
        GetParam().trace(made);       // the logger is made by its first use
        test::Allocations::left = 0;  // the first one throws
        EXPECT_NO_THROW(GetParam().trace(made));
        test::Allocations::left = -1;
        EXPECT_FALSE(made);
    }
    ara::log::Capture const log(static_cast<ara::log::LogLevel>(level));
    GetParam().trace(made);
    EXPECT_TRUE(made);
    EXPECT_EQ(log.messages().size(), 1U);
}

#ifndef DIAG_ARA_SANITIZED_ADDRESS  // which takes what a library frees of this program's own allocations for
                                    // a mistake
/// Where an incident is given as itself, its record has been copied before the level is asked.
TEST(Incidents, AreEverywhereGivenByAFunctionThatMakesThem) {
    std::regex const eager(R"(trace(_at)?\(\s*[a-z:]*incidents::)");
    std::size_t calls = 0;
    for (char const* folder : {"binding", "client", "servers"}) {
        for (auto const& entry :
             std::filesystem::recursive_directory_iterator(std::string(DOCS_DIRECTORY "/../") + folder)) {
            std::string const path = entry.path().string();
            bool const isSource = path.ends_with(".h") || path.ends_with(".cpp");
            if (!isSource || path.ends_with("_test.cpp") || path.find("/test") != std::string::npos) {
                continue;
            }
            std::ifstream file(path);
            std::string const text{std::istreambuf_iterator<char>(file), {}};
            EXPECT_FALSE(std::regex_search(text, eager)) << path;
            std::regex const lazy(R"(trace(_at)?\([^;]*\{\s*return\s)");
            calls += std::regex_search(text, lazy) ? 1 : 0;
        }
    }
    EXPECT_GE(calls, 10U);  // the files were found
}
#endif

INSTANTIATE_TEST_SUITE_P(All, Incident_of, testing::ValuesIn(all()),
                         [](auto const& info) { return info.param.expected.name; });

/// What stands between backticks.
std::vector<std::string> betweenBackticks(std::string const& line) {
    std::vector<std::string> pieces;
    std::size_t begin = line.find('`');
    while (begin != std::string::npos) {
        std::size_t const end = line.find('`', begin + 1);
        pieces.push_back(line.substr(begin + 1, end - begin - 1));
        begin = end == std::string::npos ? end : line.find('`', end + 1);
    }
    return pieces;
}

TEST(Incidents, ManualListsEachWithItsLevelAndKeys) {
    std::ifstream file(DOCS_DIRECTORY "/incidents.md");
    ASSERT_TRUE(file);
    std::vector<Row> rows;
    for (std::string line; std::getline(file, line);) {
        // | `Name` | 4 info | `2_key`, `3_key` |
        std::vector<std::string> const names = betweenBackticks(line);
        std::size_t const level = line.find("` | ");
        if (line.starts_with("| `") && level != std::string::npos && std::isdigit(line.at(level + 4)) != 0) {
            rows.push_back({names.at(0), line[level + 4] - '0', {names.begin() + 1, names.end()}});
        }
    }
    std::vector<Row> expected;
    for (auto const& incident : all()) {
        expected.push_back(incident.actual);
    }
    EXPECT_THAT(rows, testing::UnorderedElementsAreArray(expected));
}

TEST(Incidents, ConstructionTellsVersionAndText) {
    incidents::Service_skeleton_constructed const sut{{{{"s"}, {"1"}}, {0x00020000}, "parallel"}};
    EXPECT_EQ(nlohmann::json(sut).dump(),
              R"({"1_id":"Service_skeleton_constructed","2_service_id":{"1_id":"Service_id","string":"s"},)"
              R"("3_instance_id":{"1_id":"Instance_id","2_string":"1"},)"
              R"("4_struct4bytes":{"1_major":2,"2_minor":0},"5_utf8simple":"parallel"})");
}

}  // namespace
}  // namespace ac::com::cpp_binding::log
