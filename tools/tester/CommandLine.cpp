#include "tools/tester/CommandLine.h"

#include <cmath>
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
  tester routine start 0x0687            one routine; `routine results` tells what became of it
  tester dtc watch                       trouble codes as they are reported
  tester doip                            a DoIP gateway, for UDS testers of any make

Exit codes:
    0  all good
    1  something failed: time-out, error code, payload that can't be read
    2  nothing was tried: wrong arguments, unusable deployment manifest
    3  none of the services could be reached
  130  interrupted (128 + signal)
)";

void addMilliseconds(CLI::App& app, char const* option, milliseconds& value, int least,
                     char const* description) {
    app.add_option_function<int>(
           option, [&value](int number) { value = milliseconds(number); }, description)
        ->type_name("MS")
        ->check(CLI::Range(least, 90000))
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
                    "Wait for an answer, for each attempt: two, but one for routines, where it is 65000");
    app.add_option_function<double>(
           "--wait", [&options](double seconds) { options.wait = milliseconds(std::lround(seconds * 1000)); },
           "Wait for services to be offered, in all; as long as --timeout if that is given")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 86400.0).description(""))
        ->take_last()
        ->default_str("2");
    addMilliseconds(app, "--pause", options.pause, 0, "Pause between two targets");
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

/// What depends on the subcommand where the user says nothing.
void settle(Options& options, CLI::App const& app, Command const& command) {
    bool const timeoutGiven = app.count("--timeout") != 0;
    if (timeoutGiven && app.count("--wait") == 0) options.wait = options.patience.timeout;
    Patience patience = command.patience();
    if (timeoutGiven) patience.timeout = options.patience.timeout;
    options.patience = patience;
}

}  // namespace

std::vector<std::unique_ptr<Command>> commands() {
    std::vector<std::unique_ptr<Command>> all;
    all.push_back(readCommand());
    all.push_back(cancelCommand());
    all.push_back(routineCommand());
    all.push_back(troubleCodeCommand());
    all.push_back(listCommand());
    all.push_back(dataServiceCommand());
    all.push_back(watchCommand());
    all.push_back(doctorCommand());
    all.push_back(doipCommand());
    all.push_back(wiresharkCommand());
    return all;
}

int run(int argc, char const* const* argv, Environment& environment) {
    Options options;
    CLI::App app(
        "Plays the diagnostic manager: reads data identifiers, runs routines and watches trouble codes of a "
        "vehicle",
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
        Command& command = *all.at(app.get_subcommands().front());
        settle(options, app, command);
        Session session(options, environment);
        code = command.run(session);
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
