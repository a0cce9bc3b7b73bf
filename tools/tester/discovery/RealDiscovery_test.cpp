// `watch` and `doctor` over the real runtime.
#include <condition_variable>
#include <future>
#include <map>
#include <mutex>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ac/com/runtime/Component_singleton.h>

#include "tools/tester/CommandLine.h"
#include "tools/tester/data_service/DataService.h"

namespace tester {
namespace {

using testing::AllOf;
using testing::HasSubstr;

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

/// What is shown, for a thread that waits for it while another one writes.
class Screen final : public std::stringbuf {
public:
    /// Waits until as many lines tell of an event of the data service; the machine may be busy.
    bool shows(std::string const& event, unsigned times) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_events[event] >= times; });
    }

private:
    int sync() override {  // behind each line
        auto const line = nlohmann::json::parse(str());
        str("");
        if (!line["service"].get<std::string>().ends_with("DiagnosticDataDistribution")) return 0;
        std::lock_guard const lock(m_mutex);
        ++m_events[line["event"]];
        m_changed.notify_all();
        return 0;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, unsigned> m_events;  // guarded by m_mutex
};

TEST_F(RealDiscoveryTest, WatchTellsOfAnOfferItsEventsAndItsEnd) {
    Screen screen;
    std::ostream out(&screen);
    std::ostringstream err;
    Environment environment{out, err, false, false, stop.get_token(), runtimeServices};
    char const* const arguments[] = {"tester", "watch", "--json"};
    auto watching = std::async(std::launch::async, [&] { return tester::run(3, arguments, environment); });
    // Whether its offer is told depends on who was first, the watch or the service.
    auto service = startService();
    EXPECT_TRUE(screen.shows("event", 1));
    service->command("service gone");
    EXPECT_TRUE(screen.shows("lost", 1));
    service->command("service back");
    EXPECT_TRUE(screen.shows("offered", 1));
    EXPECT_TRUE(screen.shows("event", 2));
    service->command("set 2640 02");
    EXPECT_TRUE(screen.shows("event", 3));
    service.reset();
    EXPECT_TRUE(screen.shows("lost", 2));
    stop.request_stop();
    EXPECT_EQ(watching.get(), 130);
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
