// The gateway as a command: its options, its lines and how it ends.
#include <condition_variable>
#include <future>

#include <asio/ip/tcp.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/CommandLineTest.h"
#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Lines that one thread writes and another waits for.
class SharedLines final : public std::stringbuf {
public:
    /// The next line that holds the text, or the empty line after a long time; the machine may be busy.
    std::string next(std::string const& text) {
        std::unique_lock lock(m_mutex);
        auto const found = [&] {
            while (!m_lines.empty() && m_lines.front().find(text) == std::string::npos) m_lines.pop_front();
            return !m_lines.empty();
        };
        if (!m_changed.wait_for(lock, std::chrono::seconds(60), found)) return {};
        std::string line = m_lines.front();
        m_lines.pop_front();
        return line;
    }

private:
    int sync() override {  // behind each line
        std::lock_guard const lock(m_mutex);
        m_lines.push_back(str());
        str("");
        m_changed.notify_all();
        return 0;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::string> m_lines;  // guarded by m_mutex
};

class DoipCommandTest : public CommandLineTest {
protected:
    DoipCommandTest() {
        for (Catalogue const* catalogue : {&dataIdentifiers(), &routines(), &troubleCodes()}) {
            for (auto const& target : *catalogue) port(target);
        }
        char const* const own = std::getenv("ARA_COM_ADDRESS");
        address = own ? own : "127.0.0.1";
    }

    /// Runs the gateway until `meanwhile` has returned, which is given its port. The answer is its exit code.
    int runGateway(std::vector<char const*> arguments, std::function<void(std::uint16_t)> const& meanwhile) {
        std::ostream shown(&lines);
        Environment running{shown, err, false, false, stop.get_token(), environment.services, &inquiries};
        arguments.insert(arguments.begin(), {"tester", "doip", "--bind", address.c_str(), "--port", "0"});
        auto code = std::async(std::launch::async, [&] {
            return tester::run(static_cast<int>(arguments.size()), arguments.data(), running);
        });
        std::string const listening = lines.next("listening by udp and tcp");
        std::size_t const at = listening.find(address + ':') + address.size() + 1;
        {
            EndsRun const end{stop};
            meanwhile(listening.empty() ? std::uint16_t{0} : std::uint16_t(std::stoi(listening.substr(at))));
        }
        return code.get();
    }

    struct EndsRun {
        std::stop_source& stop;
        ~EndsRun() { stop.request_stop(); }
    };

    std::string address;
    SharedLines lines;
    std::atomic<unsigned> inquiries{0};
};

TEST_F(DoipCommandTest, FirstLineSaysWhereAndWhoItIs) {
    std::ostream shown(&lines);
    Environment running{shown, err, false, false, stop.get_token(), environment.services};
    stop.request_stop();
    char const* const arguments[] = {"tester", "doip", "--bind", address.c_str(),
                                     "--port", "0",    "--vin",  "WVWZZZ00000000002"};
    EXPECT_EQ(tester::run(8, arguments, running), 130);
    EXPECT_THAT(
        lines.next(""),
        testing::ContainsRegex("connection +" + address +
                               ":[0-9]+ +-- +listening by udp and tcp, entity 0x1001, functional 0xE400, "
                               "testers 0x0E00 to 0x0EFF, VIN WVWZZZ00000000002\n"));
}

TEST_F(DoipCommandTest, NumbersAreToldWhenTheyAreAskedForAndAtTheEnd) {
    int const code = runGateway({"--json", "--quiet"}, [this](std::uint16_t port) {
        Client client(asio::ip::make_address(address), port);
        EXPECT_EQ(client.activate(), 0x10);
        EXPECT_EQ(client.ask("3E 00"), "7E 00");
        ++inquiries;
        auto const told = nlohmann::json::parse(lines.next("statistics"));
        EXPECT_EQ(told["requests"], 1);
        EXPECT_EQ(told["positive"], 1);
        EXPECT_EQ(told["p2_ms"]["count"], 1);
        EXPECT_EQ(told["p2_star_ms"]["count"], 0);
        EXPECT_EQ(client.ask("3E 00"), "7E 00");
    });
    EXPECT_EQ(code, 130);
    EXPECT_EQ(nlohmann::json::parse(lines.next("statistics"))["requests"], 2);
}

TEST_F(DoipCommandTest, AddressThatCantBeUsedIsToldWithWhatToDo) {
    stop.request_stop();  // ends at once what should not have begun
    asio::io_context context;
    asio::ip::tcp::acceptor const taken(context, {asio::ip::make_address(address), 0});
    std::string const port = std::to_string(taken.local_endpoint().port());
    EXPECT_EQ(run({"doip", "--bind", address.c_str(), "--port", port.c_str()}), 2);
    EXPECT_EQ(err.str(), "tester: tcp " + address + ':' + port +
                             ": Address already in use; another gateway may run there: end it, or choose "
                             "--bind or --port\n");
    err.str("");
    EXPECT_EQ(run({"doip", "--bind", "192.0.2.1", "--port", "0"}), 2);  // documentation's own
    EXPECT_EQ(err.str(),
              "tester: tcp 192.0.2.1:0: Cannot assign requested address; this machine has no such address: "
              "choose --bind\n");
    EXPECT_EQ(out.str(), "");
}

TEST_F(DoipCommandTest, AddressesThatContradictOneAnotherAreRefused) {
    stop.request_stop();  // ends at once what should not have begun
    struct {
        std::vector<char const*> options;
        char const* says;
    } const rows[] = {
        {{"--testers", "0x0F00", "0x0E00"}, "--testers: the first address is above the last"},
        {{"--logical-address", "0x0E80"},
         "--logical-address 0x0E80 is one of the testers', 0x0E00 to 0x0EFF"},
        {{"--functional-address", "0x0E00"}, "--functional-address 0x0E00 is one of the testers'"},
        {{"--functional-address", "0x1001"}, "--functional-address 0x1001 is the gateway's own"},
        {{"--vin", "TOO-SHORT"}, "a VIN has 17 letters and digits"},
        {{"--eid", "02:00"}, "six bytes are written"},
        {{"--bind", "localhost"}, "--bind"},
        {{"--port", "65536"}, "--port"},
        {{"--sockets", "0"}, "--sockets"},
        {{"--p2", "9"}, "--p2"},
        {{"--raw"}, "doip has no raw form"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.says);
        err.str("");
        std::vector<char const*> arguments{"doip"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        EXPECT_EQ(run(arguments), 2);
        EXPECT_THAT(err.str(), HasSubstr(row.says));
    }
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace tester::doip
