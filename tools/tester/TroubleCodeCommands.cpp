// `dtc`: what the monitors of the trouble codes report, and asking them to report again.
#include <CLI/CLI.hpp>

#include "tools/tester/Codes.h"
#include "tools/tester/GroupCommand.h"
#include "tools/tester/MethodCommand.h"

namespace tester {

namespace {

constexpr char FOOTER[] = R"(
A monitor answers `init` always, and sends the last state again if it has one: run `dtc watch` beside it.
Watching ends after --count states, after --for seconds, or with Ctrl-C.

Examples:
  tester dtc watch
  tester dtc watch 8495840 --count 1 --for 30 && echo it came
  tester dtc watch --json | jq --unbuffered 'select(.what == "state")'
  tester dtc init 0x81A2E0 --reason restart
)";

constexpr MethodWords INIT{&troubleCodes,
                           METHOD_INIT_MONITOR,
                           Reply::nothing,
                           {},
                           "init",
                           "dtc init",
                           "CODE",
                           "Ask monitors to report again",
                           "decimal or hexadecimal number (8495840, 0x81A2E0), or 'all' (as without any)",
                           "asked to report again"};

/// The one byte that `init` sends: a word or a number.
class InitCommand final : public MethodCommand {
public:
    InitCommand() : MethodCommand(INIT) {}

    CLI::App* declare(CLI::App& app) override {
        CLI::App* const subcommand = MethodCommand::declare(app);
        subcommand
            ->add_option("--reason", m_reason,
                         "clear (0), restart (1), re-enabled (2), or a number up to 255")
            ->type_name("REASON")
            ->transform(CLI::Transformer(initReasons()).description(""))
            ->check(CLI::Range(0, 255).description(""))
            ->default_str("clear");
        return subcommand;
    }

private:
    std::optional<std::vector<unsigned char>> request() const override {
        return std::vector<unsigned char>{static_cast<unsigned char>(m_reason)};
    }
    bool mustBeNamed() const override { return false; }

    int m_reason = 0;
};

}  // namespace

std::unique_ptr<Command> troubleCodeCommand() {
    GroupCommand::Members members;
    members.push_back(watchTroubleCodesCommand());
    members.push_back(std::make_unique<InitCommand>());
    members.push_back(listTroubleCodesCommand());
    return std::make_unique<GroupCommand>("dtc", "Watch the states of the trouble codes, and ask for them",
                                          FOOTER, std::move(members));
}

}  // namespace tester
