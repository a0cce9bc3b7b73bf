// `watch` and `doctor` over the real runtime.
#include <future>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ac/com/runtime/Component_singleton.h>
#include <eb/com/runtime/Runtime_report.h>

#include "tools/tester/CommandLine.h"
#include "tools/tester/data_service/DataService.h"

namespace tester {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::chrono::seconds PATIENCE{20};

DataValues values() {
    std::istringstream lines("2640 = 01\n");
    return DataValues::parse(lines, "values.txt");
}

class RealDiscoveryTest : public testing::Test {
protected:
    struct Result {
        int code;
        std::string out;
        std::string err;
    };

    Result run(std::vector<char const*> arguments) const {
        std::ostringstream out;
        std::ostringstream err;
        Environment environment{out, err, false, false, stop.get_token(), runtimeServices};
        arguments.insert(arguments.begin(), "tester");
        int const code = tester::run(static_cast<int>(arguments.size()), arguments.data(), environment);
        return {code, out.str(), err.str()};
    }

    std::unique_ptr<DataService> startService() const {
        auto service = std::make_unique<DataService>(values(), [](DataServiceEvent const&) {});
        service->start({});
        return service;
    }

    std::stop_source stop;
    ac::com::runtime::Component_singleton runtime{false, "discovery test"};
};

TEST_F(RealDiscoveryTest, WatchTellsOfAnOfferItsEventsAndItsEnd) {
    auto watching = std::async(std::launch::async, [this] {
        return run({"watch", "--for", "60", "--json"});
    });
    auto service = startService();
    auto const deadline = std::chrono::steady_clock::now() + PATIENCE;
    auto const awaitSubscription = [&](std::string const& state) {
        auto const stands = [&] {
            for (auto const& instance : eb::com::runtime::report().instances)
                if (!instance.events.empty() && instance.service_id == 0x0DDD)
                    return instance.events[0].subscription == state;
            return false;
        };
        while (!stands() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    };
    awaitSubscription("subscribed");  // it watches before it subscribes
    service->command("service gone");
    awaitSubscription("");
    service->command("service back");
    awaitSubscription("subscribed");
    service->command("set 2640 02");
    service.reset();
    awaitSubscription("");
    stop.request_stop();
    Result const result = watching.get();

    EXPECT_EQ(result.code, 130);
    std::vector<std::string> seen;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
        auto const json = nlohmann::json::parse(line);
        if (json["service"].get<std::string>().ends_with("DiagnosticDataDistribution"))
            seen.push_back(json["event"]);
    }
    EXPECT_THAT(seen, testing::IsSupersetOf({"event", "lost", "offered", "event", "event", "lost"}))
        << result.out;
}

TEST_F(RealDiscoveryTest, WatchEndsAfterItsCountOrItsTime) {
    auto const service = startService();
    EXPECT_EQ(run({"watch", "--count", "1", "--for", "20"}).code, 0);
    EXPECT_EQ(run({"watch", "--for", "0.01"}).code, 0);
}

TEST_F(RealDiscoveryTest, DoctorNamesWhatIsThereAndWhatIsMissing) {
    auto const service = startService();
    Result const result = run({"doctor", "--listen", "0.2"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, AllOf(HasSubstr("built-in manifest"), HasSubstr("unicast at 127."),
                                  HasSubstr("0x0DDD  DiagnosticDataDistribution"), HasSubstr("local"),
                                  HasSubstr("nobody offers DataIdentifier_")));
    Result const json = run({"doctor", "--listen", "0.2", "--json"});
    auto const document = nlohmann::json::parse(json.out);
    EXPECT_EQ(document["exit_code"], 1);
    EXPECT_EQ(document["discovery"]["mode"], "unicast");
    for (auto const& instance : document["instances"])
        EXPECT_EQ(instance["found"], instance["service_id"] == "0x0DDD") << instance.dump();
}

TEST_F(RealDiscoveryTest, DoctorSaysThatNobodyIsThere) {
    Result const result = run({"doctor", "--listen", "0.1"});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.out, AllOf(HasSubstr("no other process was heard"), HasSubstr("ARA_COM_ADDRESS")));
}

TEST_F(RealDiscoveryTest, NeitherHasARawForm) {
    EXPECT_EQ(run({"watch", "--raw"}).code, 2);
    EXPECT_EQ(run({"doctor", "--raw"}).code, 2);
}

}  // namespace
}  // namespace tester
