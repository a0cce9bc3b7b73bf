// The subcommands. A new one is a class and a line in `commands`.
#pragma once

#include <memory>
#include <vector>

#include "tools/tester/Session.h"

namespace CLI {
class App;
}

namespace tester {

class Command {
public:
    virtual ~Command() = default;

    /// Adds itself with its arguments to the command line; the pointer stays with `app`.
    virtual CLI::App* declare(CLI::App& app) = 0;
    /// How long it waits for an answer, and how often it asks, unless the user says otherwise.
    virtual Patience patience() const { return {}; }
    virtual ExitCode run(Session& session) = 0;
};

std::unique_ptr<Command> readCommand();
std::unique_ptr<Command> cancelCommand();
std::unique_ptr<Command> listCommand();
std::unique_ptr<Command> routineCommand();
std::unique_ptr<Command> troubleCodeCommand();
std::unique_ptr<Command> dataServiceCommand();
std::unique_ptr<Command> watchCommand();
std::unique_ptr<Command> doctorCommand();
std::unique_ptr<Command> doipCommand();
std::unique_ptr<Command> wiresharkCommand();

// Of `dtc`.
std::unique_ptr<Command> watchTroubleCodesCommand();
std::unique_ptr<Command> listTroubleCodesCommand();

/// All of them, in the order of the help text.
std::vector<std::unique_ptr<Command>> commands();

}  // namespace tester
