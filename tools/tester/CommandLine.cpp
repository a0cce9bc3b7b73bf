#include "tools/tester/CommandLine.h"

#include <exception>
#include <map>

#include <ac/com/Exceptions.h>
#include <CLI/CLI.hpp>

#include "tools/tester/Command.h"

namespace tester {

namespace {

constexpr char FOOTER[] = R"(
Examples:
  tester read 0xB047                     one data identifier in full: hex dump and fields
  tester read b047 FunctionOnDemandVersionInfo
  tester read all                        a table with a row for each
  tester read all --json | jq '.results[] | {id, outcome, raw}'
  tester read 0x017D --raw | xxd -r -p   the bytes of the reply alone
  tester cancel 0xB047                   end a pending read
  tester list                            endpoints, and whether somebody listens

Exit codes:
    0  all good
    1  a data identifier failed: time-out, error code, payload that can't be read
    2  nothing was tried: wrong arguments, unusable deployment manifest
    3  none of the services could be reached
  130  interrupted (128 + signal)
)";

void addMilliseconds(CLI::App& app, char const* option, milliseconds& value, int least,
                     char const* description) {
    app.add_option_function<int>(
           option, [&value](int number) { value = milliseconds(number); }, description)
        ->type_name("MS")
        ->check(CLI::Range(least, 30000))
        ->take_last()
        ->default_str(std::to_string(value.count()));
}

void declareOptions(CLI::App& app, Options& options) {
    auto* const json = app.add_flag_callback(
        "--json", [&options] { options.format = Format::json; }, "One JSON document on the standard output");
    auto* const raw = app.add_flag_callback(
        "--raw", [&options] { options.format = Format::raw; },
        "Only the bytes of the replies in hex, a line for each identifier");
    json->excludes(raw);
    addMilliseconds(app, "--timeout", options.patience.timeout, 1,
                    "Wait for an answer, for each of two attempts");
    addMilliseconds(app, "--pause", options.pause, 0, "Pause between two identifiers");
    app.add_option("--manifest", options.manifest, "Deployment manifest (sets ARA_COM_MANIFEST)")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    app.add_option("--address", options.address,
                   "Address in place of the manifest's, 127.x.y.z (sets ARA_COM_ADDRESS)")
        ->type_name("ADDRESS")
        ->check(CLI::Validator(CLI::ValidIPV4).description(""));
    app.add_option("--color", options.color, "auto (on a terminal, unless NO_COLOR is set), always, never")
        ->type_name("WHEN")
        ->transform(CLI::CheckedTransformer(std::map<std::string, Color>{{"auto", Color::automatic},
                                                                         {"always", Color::always},
                                                                         {"never", Color::never}})
                        .description(""))
        ->default_str("auto");
    app.add_flag("--verbose", options.verbose, "Tell each step and the runtime's log on the error stream");
}

}  // namespace

std::vector<std::unique_ptr<Command>> commands() {
    std::vector<std::unique_ptr<Command>> all;
    all.push_back(readCommand());
    all.push_back(cancelCommand());
    all.push_back(listCommand());
    all.push_back(dataServiceCommand());
    return all;
}

int run(int argc, char const* const* argv, Environment& environment) {
    Options options;
    CLI::App app("Plays the diagnostic manager: reads data identifiers from the services of a vehicle",
                 "tester");
    app.set_version_flag("--version", "tester " TESTER_VERSION);
    app.footer(FOOTER);
    app.require_subcommand(0, 1);  // so that an unknown one is told by its name
    declareOptions(app, options);
    ExitCode code = ExitCode::usage;
    std::map<CLI::App*, std::unique_ptr<Command>> all;
    for (auto& command : commands()) {
        CLI::App* const subcommand = command->declare(app);
        subcommand->fallthrough();
        all.emplace(subcommand, std::move(command));
    }
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) throw CLI::RequiredError("A subcommand");
        Session session(options, environment);
        code = all.at(app.get_subcommands().front())->run(session);
    } catch (CLI::ParseError const& error) {
        bool const asked = app.exit(error, environment.out, environment.err) == 0;
        code = asked ? ExitCode::allGood : ExitCode::usage;
    } catch (ac::com::Invalid_argument_exception const& error) {
        environment.err << "tester: " << error.what() << std::endl;
    } catch (std::exception const& error) {
        environment.err << "tester: " << error.what() << std::endl;
        code = ExitCode::someFailed;
    }
    return static_cast<int>(code);
}

}  // namespace tester
