#include "tools/tester/data_service/DataService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/runtime/Component_singleton.h>

#include "binding/adapter/Platform_adapter.h"
#include "tools/tester/CommandLine.h"
#include "tools/tester/Payloads.h"
#include "tools/tester/Text.h"
#include "tools/tester/data_service/Control.h"

#include "tests/support/Patience.h"

namespace tester {
namespace {

using testing::HasSubstr;
using namespace eb::com::runtime;
using namespace std::chrono_literals;

using test::PATIENCE;
constexpr char INTERFACE[] = "zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution";
constexpr unsigned short GET = 0;
constexpr unsigned short SINGLE = 1;
constexpr unsigned short VALUES = 2;

/// Things that come, in their order.
template <class Thing>
class Inbox {
public:
    void put(Thing thing) {
        std::lock_guard const lock(m_mutex);
        m_things.push_back(std::move(thing));
        m_changed.notify_all();
    }
    /// The next thing that fits; what comes before it is dropped.
    template <class Fits>
    std::optional<Thing> next(Fits fits) {
        auto const end = std::chrono::steady_clock::now() + PATIENCE;
        std::unique_lock lock(m_mutex);
        while (m_changed.wait_until(lock, end, [this] { return !m_things.empty(); })) {
            Thing thing = std::move(m_things.front());
            m_things.pop_front();
            if (fits(thing)) return thing;
        }
        return {};
    }
    std::optional<Thing> next() {
        return next([](Thing const&) { return true; });
    }
    std::size_t size() {
        std::lock_guard const lock(m_mutex);
        return m_things.size();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Thing> m_things;  // guarded by m_mutex
};

class Samples : public Event_sink {
public:
    void event_updated(Serialized_payload sample) override { all.put(hexPlain(sample.bytes())); }
    void event_state_changed(Event_state) override {}
    void service_state_changed(Client::Service_state) override {}

    Inbox<std::string> all;
};

class DataServiceTest : public testing::Test {
protected:
    DataServiceTest() { service.start({}); }

    static DataValues values() {
        std::istringstream lines("2640 = 01 02 03 04\n3167 = empty\n421 = error 3\n");
        return DataValues::parse(lines, "values.txt");
    }

    std::shared_ptr<Method_call> call(unsigned short method, Payload const& request,
                                      std::shared_ptr<std::promise<Call_result>> const& answer) {
        return ac::com::cpp_binding::adapter::call(
                   *port.client_port(), method, Serialized_payload(std::make_shared<Payload const>(request)),
                   [answer](Call_result const& result) { answer->set_value(result); })
            .get();
    }

    /// Return code and payload, "0:00000000...".
    std::string answerTo(Payload const& request, unsigned short method = VALUES) {
        auto answer = std::make_shared<std::promise<Call_result>>();
        auto result = answer->get_future();
        call(method, request, answer);
        if (result.wait_for(PATIENCE) != std::future_status::ready) return "no answer";
        Call_result const ended = result.get();
        if (ended.outcome != Call_outcome::answered) return ended.detail;
        return std::to_string(ended.return_code) + ":" + hexPlain(ended.payload.bytes());
    }

    static Payload requestFor(std::uint32_t record) {
        return Payload(4, 0) + withLength({0, 0, static_cast<unsigned char>(record >> 8U),
                                           static_cast<unsigned char>(record & 0xFFU)});
    }
    std::string read(std::uint32_t record) { return answerTo(requestFor(record)); }

    void awaitEvent(std::string const& kind) {
        EXPECT_TRUE(events.next([&](DataServiceEvent const& event) { return event.kind == kind; })) << kind;
    }

    ac::com::runtime::Component_singleton runtime{false, "data service test"};
    Inbox<DataServiceEvent> events;
    DataService service{values(), [this](DataServiceEvent const& event) { events.put(event); }};
    ac::com::cpp_binding::proxy::Rport port{{{INTERFACE}, {"1"}}, {0x00030001}};
};

TEST_F(DataServiceTest, AnswersEachRecordAsItStandsInTheFile) {
    EXPECT_EQ(read(2640), "0:000000040102030400000000");
    EXPECT_EQ(read(3167), "0:0000000000000000");
    EXPECT_EQ(read(421), "0:0000000000000003");
    EXPECT_EQ(read(1484), "0:0000000000000001") << "a record that isn't there";
}

TEST_F(DataServiceTest, AnswersTheSingleRecordMethodAlike) {
    EXPECT_EQ(answerTo(Payload(4, 0) + Payload{0, 0, 0x0A, 0x50}, SINGLE), "0:000000040102030400000000");
}

TEST_F(DataServiceTest, RefusesOtherRequests) {
    EXPECT_EQ(answerTo({}), "9:");
    EXPECT_EQ(answerTo(Payload(4, 0) + Payload{0, 0, 0, 8, 0, 0, 0x0A, 0x50}), "9:");
    EXPECT_EQ(answerTo(Payload{0, 0, 0, 1} + withLength({0, 0, 0x0A, 0x50})), "0:0000000000000001");
    EXPECT_EQ(answerTo(Payload(4, 0) + withLength({})), "0:0000000000000001");
    EXPECT_EQ(answerTo(Payload(4, 0) + withLength({0, 0, 0x0A, 0x50, 0, 0, 1, 2})), "0:0000000000000001");
}

TEST_F(DataServiceTest, AnnouncesEachChangeByAnotherHash) {
    auto const samples = std::make_shared<Samples>();
    auto const subscription = port.client_port()->subscribe(0, samples);
    auto const first = samples->all.next();
    ASSERT_TRUE(first);
    // One structure of 22 bytes with its length: name space 0, category 0, a hash.
    EXPECT_THAT(*first, testing::StartsWith("0000001a"
                                            "00000016"
                                            "200000000000"
                                            "200100000000"
                                            "3002"));
    EXPECT_EQ(answerTo({}, GET), "0:" + *first);

    EXPECT_EQ(service.command("set 2640 05 06"), "2640 (0xA50) = 05 06");
    auto const second = samples->all.next();
    ASSERT_TRUE(second);
    EXPECT_NE(*second, *first);
    EXPECT_EQ(read(2640), "0:00000002050600000000");

    EXPECT_EQ(service.command("set 2640 0506"), "2640 (0xA50) = 05 06, as before");
    service.replace(values());
    EXPECT_EQ(samples->all.next(), first) << "the same records have the same hash";
}

TEST_F(DataServiceTest, PlaysWrongAnswers) {
    service.command("2640 code 0x80");
    EXPECT_EQ(read(2640), "128:");
    service.command("2640 result 9");
    EXPECT_EQ(read(2640), "0:0000000000000009");
    service.command("2640 garbage FF FF times 1");
    EXPECT_EQ(read(2640), "0:ffff");
    EXPECT_EQ(read(2640), "0:000000040102030400000000");
}

TEST_F(DataServiceTest, SlowAnswerComesLateAndSilenceUntilItIsGivenUp) {
    service.command("2640 slow 50ms");
    EXPECT_EQ(read(2640), "0:000000040102030400000000");

    service.command("2640 silent");
    auto answer = std::make_shared<std::promise<Call_result>>();
    auto result = answer->get_future();
    auto const open = call(VALUES, requestFor(2640), answer);
    awaitEvent("call");
    EXPECT_EQ(read(3167), "0:0000000000000000") << "others are answered meanwhile";
    EXPECT_NE(result.wait_for(0s), std::future_status::ready);
    open->cancel();
    EXPECT_EQ(result.get().outcome, Call_outcome::cancelled);
}

TEST_F(DataServiceTest, GoesAndComesBack) {
    Inbox<std::size_t> found;
    auto const search = ac::com::runtime::Component_singleton::get_service_finder().subscribe(
        {INTERFACE}, {"*"}, [&](std::vector<Service_handle> const& handles) { found.put(handles.size()); });
    auto const isFound = [](std::size_t count) { return count == 1; };
    auto const isLost = [](std::size_t count) { return count == 0; };
    EXPECT_TRUE(found.next(isFound));
    service.command("service gone");
    EXPECT_TRUE(found.next(isLost));
    service.command("service back");
    EXPECT_TRUE(found.next(isFound));
    service.command("service gone for 20ms");
    EXPECT_TRUE(found.next(isLost));
    EXPECT_TRUE(found.next(isFound));
    service.command("service restart");
    EXPECT_TRUE(found.next(isLost));
    EXPECT_TRUE(found.next(isFound));
    EXPECT_EQ(read(2640), "0:000000040102030400000000");
}

TEST_F(DataServiceTest, NotificationsAreLeftOutDoubledAndSpoilt) {
    auto const samples = std::make_shared<Samples>();
    auto const subscription = port.client_port()->subscribe(0, samples);
    auto const first = samples->all.next();
    service.command("notify twice");
    service.command("set 2640 07");
    auto const second = samples->all.next();
    EXPECT_EQ(samples->all.next(), second);
    service.command("notify silent");
    service.command("set 2640 08");
    service.command("notify garbage 01 02");
    service.command("set 2640 09");
    EXPECT_EQ(samples->all.next(), "0102");
    service.command("notify slow 20ms");
    service.replace(values());
    EXPECT_EQ(samples->all.next(), first);
}

TEST_F(DataServiceTest, ScenarioBeginsItsFaultsAtTheirTime) {
    service.command("at 20ms all result 5");
    awaitEvent("fault");
    EXPECT_EQ(read(2640), "0:0000000000000005");
    service.command("all clear");
    EXPECT_EQ(read(2640), "0:000000040102030400000000");
}

TEST_F(DataServiceTest, MistakesOfACommandAreToldAndChangeNothing) {
    EXPECT_THROW(service.command("set 2640"), std::invalid_argument);
    EXPECT_THROW(service.command("set x 01"), std::invalid_argument);
    EXPECT_THROW(service.command("set 2640 0"), std::invalid_argument);
    EXPECT_THROW(service.command("nonsense"), std::invalid_argument);
    EXPECT_EQ(read(2640), "0:000000040102030400000000");
}

TEST_F(DataServiceTest, CommandLineReachesTheServiceThatRuns) {
    Control const control([this](std::string const& line) { return service.command(line); });
    auto const run = [](std::vector<char const*> arguments) {
        std::ostringstream out;
        std::ostringstream err;
        Environment environment{out, err, false, false, {}, runtimeServices};
        arguments.insert(arguments.begin(), {"tester", "--timeout", "60000", "data-service"});
        int const code = tester::run(static_cast<int>(arguments.size()), arguments.data(), environment);
        return std::to_string(code) + ":" + out.str() + err.str();
    };
    EXPECT_EQ(run({"set", "2640", "05", "06"}), "0:2640 (0xA50) = 05 06\n");
    EXPECT_EQ(read(2640), "0:00000002050600000000");
    EXPECT_EQ(run({"play", "all", "result", "4"}), "0:all result 4\n");
    EXPECT_EQ(read(2640), "0:0000000000000004");
    EXPECT_THAT(run({"set", "2640", "0"}), HasSubstr("1:tester: '0' has to be bytes in hex"));
    EXPECT_THAT(run({"play", "all", "nonsense"}), HasSubstr("2:tester: 'nonsense' has to be one of"));
    EXPECT_THAT(run({}), HasSubstr("2:tester: data-service needs --values FILE"));
    EXPECT_THAT(run({"--values", "/nowhere"}), HasSubstr("2:tester: /nowhere: can't be read"));
}

TEST(DataServiceCommandTest, SaysThatNoServiceRuns) {
    std::ostringstream out;
    std::ostringstream err;
    Environment environment{out, err, false, false, {}, runtimeServices};
    std::vector<char const*> const arguments{"tester", "--timeout", "1", "data-service", "set", "1", "02"};
    EXPECT_EQ(tester::run(static_cast<int>(arguments.size()), arguments.data(), environment), 3);
    EXPECT_THAT(err.str(), HasSubstr("no data service runs here"));
}

}  // namespace
}  // namespace tester
