#include <nlohmann/json.hpp>

#include "tools/tester/CommandLineTest.h"

namespace tester {
namespace {

using eb::com::runtime::Client;
using eb::com::runtime::Event_sink;
using eb::com::runtime::Event_state;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class TroubleCodeCommandsTest : public CommandLineTest {
protected:
    FakePort& monitor(char const* code) { return port(*troubleCodes().find(code)); }

    /// Lets a monitor say something as soon as somebody subscribes, on a thread of its own as the runtime
    /// does.
    void onSubscription(char const* code, std::function<void(Event_sink&)> says) {
        monitor(code).onSubscribe = [this, says](std::shared_ptr<Event_sink> const& sink) {
            ASSERT_TRUE(sink);
            m_threads.emplace_back([says, sink] { says(*sink); });
        };
    }
    void allMonitors() {
        for (auto const& code : troubleCodes()) port(code);
    }

    /// The lines without their time of day, which is checked.
    std::vector<std::string> lines() const {
        std::vector<std::string> lines;
        std::istringstream text(out.str());
        for (std::string line; std::getline(text, line);) {
            EXPECT_THAT(line,
                        testing::ContainsRegex("^[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]  "));
            lines.push_back(line.substr(14));
        }
        return lines;
    }

private:
    std::vector<std::jthread> m_threads;
};

TEST_F(TroubleCodeCommandsTest, WatchTellsEachThingAsItComes) {
    onSubscription("8495841", [](Event_sink& sink) {
        sink.service_state_changed(Client::Service_state::available);
        sink.event_state_changed(Event_state::pending);
        sink.event_state_changed(Event_state::subscribed);
        sink.event_updated(FakePort::bytes({1}));
        sink.event_updated(FakePort::bytes({0}));
        sink.service_state_changed(Client::Service_state::unavailable);
        sink.event_state_changed(Event_state::not_subscribed);
        sink.event_updated(FakePort::bytes({0x7F}));
        sink.event_updated(FakePort::bytes({}));
        sink.event_updated(FakePort::bytes({0, 1}));
    });
    allMonitors();
    EXPECT_EQ(run({"dtc", "watch", "--count", "5"}), 0);
    EXPECT_THAT(lines(),
                ElementsAre("8495841  0x81A2E1  --  service available", "8495841  0x81A2E1  --  pending",
                            "8495841  0x81A2E1  --  subscribed", "8495841  0x81A2E1  01  failed",
                            "8495841  0x81A2E1  00  passed", "8495841  0x81A2E1  --  service unavailable",
                            "8495841  0x81A2E1  --  not subscribed", "8495841  0x81A2E1  7F  unknown",
                            "8495841  0x81A2E1    undecodable: 1 byte expected, received 0",
                            "8495841  0x81A2E1  00 01  undecodable: 1 byte expected, received 2"));
}

TEST_F(TroubleCodeCommandsTest, CountEndsTheWatchAtThatState) {
    allMonitors();
    onSubscription("8495840", [](Event_sink& sink) {
        for (auto const& state : {FakePort::bytes({1}), FakePort::bytes({0}), FakePort::bytes({1})}) {
            sink.event_updated(state);
        }
    });
    EXPECT_EQ(run({"dtc", "watch", "--count", "2"}), 0);
    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(TroubleCodeCommandsTest, TimeEndsTheWatch) {
    allMonitors();
    onSubscription("8495840", [](Event_sink& sink) { sink.event_state_changed(Event_state::subscribed); });
    EXPECT_EQ(run({"dtc", "watch", "--for", "0.3"}), 0);
    EXPECT_EQ(err.str(), "");
    EXPECT_EQ(run({"dtc", "watch", "--for", "0.3", "--count", "1"}), 1);
    EXPECT_EQ(err.str(), "tester: 0 states of 1 came in time\n");
}

TEST_F(TroubleCodeCommandsTest, WatchThatMetNobodyIsACodeOfItsOwn) {
    allMonitors();
    EXPECT_EQ(run({"dtc", "watch", "--for", "0"}), 3);
    EXPECT_EQ(err.str(), "tester: no monitor was to be had\n");
}

TEST_F(TroubleCodeCommandsTest, InterruptionEndsTheWatch) {
    allMonitors();
    stop.request_stop();
    EXPECT_EQ(run({"dtc", "watch"}), 130);
}

TEST_F(TroubleCodeCommandsTest, WatchOfOneCodeLeavesTheOthersAlone) {
    allMonitors();
    std::vector<std::string> subscribed;
    for (auto const& code : troubleCodes()) {
        port(code).onSubscribe = [&subscribed, &code](auto const&) { subscribed.push_back(code.shortName); };
    }
    for (char const* name : {"8495842", "0x81A2E2", "81a2e2"}) {
        subscribed.clear();
        EXPECT_EQ(run({"dtc", "watch", name, "--for", "0"}), 3);
        EXPECT_THAT(subscribed, ElementsAre("8495842"));
    }
    subscribed.clear();
    EXPECT_EQ(run({"dtc", "watch", "all", "8495842", "--for", "0"}), 3);
    EXPECT_THAT(subscribed, ElementsAre("8495840", "8495841", "8495842"));
}

TEST_F(TroubleCodeCommandsTest, JsonIsAnObjectALine) {
    allMonitors();
    onSubscription("8495840", [](Event_sink& sink) {
        sink.service_state_changed(Client::Service_state::available);
        sink.event_state_changed(Event_state::not_subscribed);
        sink.event_updated(FakePort::bytes({1}));
    });
    EXPECT_EQ(run({"--json", "dtc", "watch", "--count", "1"}), 0);
    std::istringstream text(out.str());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        auto object = nlohmann::ordered_json::parse(line);
        EXPECT_EQ(object["time"].get<std::string>().size(), 12U);
        object.erase("time");
        lines.push_back(object.dump());
    }
    EXPECT_THAT(
        lines,
        ElementsAre(
            R"({"what":"service","id":"0x81A2E0","code":8495840,"raw":null,"state":"available"})",
            R"({"what":"subscription","id":"0x81A2E0","code":8495840,"raw":null,"state":"not_subscribed"})",
            R"({"what":"state","id":"0x81A2E0","code":8495840,"raw":"01","state":"failed"})"));
}

TEST_F(TroubleCodeCommandsTest, RawIsTheBytesOfStatesAlone) {
    allMonitors();
    onSubscription("8495840", [](Event_sink& sink) {
        sink.event_state_changed(Event_state::subscribed);
        sink.event_updated(FakePort::bytes({1}));
        sink.event_updated(FakePort::bytes({0}));
    });
    EXPECT_EQ(run({"--raw", "dtc", "watch", "--count", "2"}), 0);
    EXPECT_EQ(out.str(), "01\n00\n");
}

TEST_F(TroubleCodeCommandsTest, MonitorThatIsNotDeployedIsAnErrorOfUsage) {
    EXPECT_EQ(run({"dtc", "watch", "--for", "0"}), 2);
    EXPECT_THAT(err.str(), StartsWith("tester: 0x81A2E0: no instance "));
}

TEST_F(TroubleCodeCommandsTest, InitSendsItsReasonAsOneByte) {
    struct {
        std::vector<char const*> arguments;
        unsigned char byte;
    } const reasons[] = {{{}, 0},
                         {{"--reason", "clear"}, 0},
                         {{"--reason", "restart"}, 1},
                         {{"--reason", "re-enabled"}, 2},
                         {{"--reason", "0"}, 0},
                         {{"--reason", "3"}, 3},
                         {{"--reason", "255"}, 255}};
    for (auto const& [arguments, byte] : reasons) {
        SCOPED_TRACE(int{byte});
        auto& port = monitor("8495840");
        port.script = {FakePort::answered(0)};
        port.requests.clear();
        port.methods.clear();
        std::vector<char const*> all{"dtc", "init", "8495840"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(run(all), 0);
        EXPECT_THAT(port.methods, ElementsAre(METHOD_INIT_MONITOR));
        EXPECT_THAT(port.requests, ElementsAre(std::vector<unsigned char>{byte}));
    }
}

TEST_F(TroubleCodeCommandsTest, InitAsksAllUnlessToldOtherwise) {
    for (std::vector<char const*> const& arguments :
         std::vector<std::vector<char const*>>{{"dtc", "init"}, {"dtc", "init", "all"}}) {
        for (auto const& code : troubleCodes()) port(code).script = {FakePort::answered(0)};
        out.str("");
        EXPECT_EQ(run(arguments), 0);
        EXPECT_THAT(out.str(), HasSubstr("\n0x81A2E2  8495842 "));
        EXPECT_THAT(out.str(), EndsWith("\n3/3 trouble codes asked to report again\n"));
    }
}

TEST_F(TroubleCodeCommandsTest, InitToldInJsonNamesTheCode) {
    monitor("8495841").script = {FakePort::answered(0)};
    EXPECT_EQ(run({"dtc", "init", "0x81A2E1", "--json"}), 0);
    auto const document = nlohmann::json::parse(out.str());
    EXPECT_EQ(document["command"], "dtc init");
    EXPECT_EQ(document["results"][0]["code"], 8495841);
    EXPECT_EQ(document["results"][0]["instance"], "\u202D8495841\u202C");
    EXPECT_EQ(document["results"][0]["raw"], "");
}

TEST_F(TroubleCodeCommandsTest, ListShowsTheInvisibleMarks) {
    allMonitors();
    for (auto const& code : troubleCodes()) port(code).endpointText = "udp 127.0.0.1:9";
    EXPECT_EQ(run({"dtc", "list"}), 0);
    EXPECT_THAT(out.str(),
                HasSubstr("\n0x81A2E0  DiagnosticMonitor  <U+202D>8495840<U+202C>  udp 127.0.0.1:9"));
    out.str("");
    EXPECT_EQ(run({"dtc", "list", "--json"}), 0);
    auto const document = nlohmann::json::parse(out.str());
    EXPECT_EQ(document["services"].size(), 3U);
    EXPECT_EQ(document["services"][2]["instance"], "\u202D8495842\u202C");
}

TEST_F(TroubleCodeCommandsTest, WrongUsageIsRefusedAndSaysWhy) {
    struct {
        std::vector<char const*> arguments;
        char const* says;
    } const wrong[] = {{{"dtc"}, "subcommand is required"},
                       {{"dtc", "watch", "8495843"}, "'8495843' is no trouble code"},
                       {{"dtc", "watch", "8495843"}, "0x81A2E2  8495842"},
                       {{"dtc", "init", "DiagnosticMonitor"}, "is no trouble code"},
                       {{"dtc", "init", "--reason", "256"}, "--reason"},
                       {{"dtc", "init", "--reason", "-1"}, "--reason"},
                       {{"dtc", "init", "--reason", "because"}, "--reason"},
                       {{"dtc", "watch", "--count", "0"}, "--count"},
                       {{"dtc", "watch", "--for", "soon"}, "--for"},
                       {{"dtc", "list", "--raw"}, "list has no raw form"}};
    for (auto const& [arguments, says] : wrong) {
        SCOPED_TRACE(arguments.back());
        err.str("");
        EXPECT_EQ(run(arguments), 2);
        EXPECT_THAT(err.str(), HasSubstr(says));
    }
    EXPECT_THAT(out.str(), IsEmpty());
}

}  // namespace
}  // namespace tester
