// The whole program on services that a test commands.
#pragma once

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/CommandLine.h"
#include "tools/tester/FakeServices.h"
#include "tools/tester/Targets.h"

namespace tester {

class CommandLineTest : public testing::Test {
protected:
    /// An error stream on a terminal, whose user interrupts as soon as something is shown there.
    class ImpatientUser final : public std::stringbuf {
    public:
        explicit ImpatientUser(CommandLineTest& test) : m_stop(test.stop) {
            test.environment.errIsTerminal = true;
            static_cast<std::ostream&>(test.err).rdbuf(this);
        }

    private:
        int sync() override {
            m_stop.request_stop();
            return 0;
        }
        std::stop_source& m_stop;
    };

    CommandLineTest() {
        environment.services = [this] { return std::make_unique<FakeServices>(ports); };
    }

    /// Runs the program with short waits; the answer is its exit code.
    int run(std::vector<char const*> arguments) {
        arguments.insert(arguments.begin(), "tester");
        arguments.insert(arguments.end(), {"--timeout", "20", "--pause", "0"});
        return runBare(arguments);
    }
    int runBare(std::vector<char const*> const& arguments) {
        return tester::run(static_cast<int>(arguments.size()), arguments.data(), environment);
    }

    FakePort& port(char const* identifier) { return port(*dataIdentifiers().find(identifier)); }
    FakePort& port(Target const& target) {
        auto& port = ports[target.service + FakeServices::key(target.instance)];
        if (!port) port = std::make_shared<FakePort>();
        return *port;
    }

    std::ostringstream out;
    std::ostringstream err;
    std::stop_source stop;
    Environment environment{out, err, false, false, stop.get_token(), {}};
    FakeServices::Ports ports;
};

}  // namespace tester
