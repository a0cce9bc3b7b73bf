// `data-service`: plays the service that keeps the adaptation values, and talks to one that plays it.
#include <chrono>
#include <cmath>
#include <filesystem>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Journal.h"
#include "tools/tester/Text.h"
#include "tools/tester/data_service/Control.h"
#include "tools/tester/data_service/DataService.h"

namespace tester {

namespace {

using Json = nlohmann::ordered_json;
using std::chrono::steady_clock;

constexpr char FOOTER[] = R"(
A values file has a record a line:
  2640 = 01 02 03 04        # bytes in hex
  0xC5F = "a text"
  421 = empty               # success without data
  1484 = error 3            # result code 3
It is read again whenever it changes. A record that isn't there is answered with result code 1.

A fault, for `play` and a line of a scenario file:
  [at TIME] RECORD|all  slow TIME | silent | code N | result N | garbage HEX|nothing | clear
  [at TIME] notify      slow TIME | silent | twice | garbage HEX|nothing | clear
  [at TIME] service     gone | back | restart
followed by `for TIME` or `times N` if it shall end. A time is 3, 3s, 2.9s or 2900ms.

Examples:
  tester data-service --values values.txt --scenario bad-day.txt
  tester data-service set 2640 01020304
  tester data-service play service gone for 5s
)";

/// Tells when a file was written anew.
class FileWatch {
public:
    explicit FileWatch(std::string path) : m_path(std::move(path)), m_last(written()) {}

    bool changed() {
        auto const now = written();
        return now != std::exchange(m_last, now);
    }

private:
    std::filesystem::file_time_type written() const {
        std::error_code missing;
        auto const time = std::filesystem::last_write_time(m_path, missing);
        return missing ? std::filesystem::file_time_type::min() : time;
    }

    std::string m_path;
    std::filesystem::file_time_type m_last;
};

class DataServiceCommand final : public Command {
public:
    CLI::App* declare(CLI::App& app) override {
        CLI::App* const all =
            app.add_subcommand("data-service", "Play the service that keeps the vehicle's adaptation values");
        all->footer(FOOTER);
        all->require_subcommand(0, 1);
        all->add_option("--values", m_valuesFile, "The records")->type_name("FILE");
        all->add_option("--scenario", m_scenarioFile, "Faults to play, a line each")->type_name("FILE");
        all->add_option_function<double>(
               "--for", [this](double seconds) { m_for = milliseconds(std::lround(seconds * 1000)); },
               "End after so long")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.0, 86400.0));
        m_set = all->add_subcommand("set", "Change a record of the data service that runs");
        m_set->add_option("RECORD", m_record, "2640 or 0xA50")->required();
        m_set->add_option("VALUE", m_words, "bytes in hex, \"a text\", empty, or error N")->required();
        m_play = all->add_subcommand("play", "Let the data service that runs misbehave");
        m_play->add_option("FAULT", m_words, "such as: all silent for 4s")->required();
        m_set->fallthrough();
        m_play->fallthrough();
        return all;
    }

    ExitCode run(Session& session) override {
        if (session.options().format == Format::raw) {
            session.err() << "tester: data-service has no raw form" << std::endl;
            return ExitCode::usage;
        }
        try {
            if (m_set->parsed()) return tell(session, "set " + m_record + ' ' + joined());
            if (m_play->parsed()) return tell(session, joined());
            return serve(session);
        } catch (std::invalid_argument const& error) {
            session.err() << "tester: " << error.what() << std::endl;
            return ExitCode::usage;
        }
    }

private:
    std::string joined() const {
        std::string text;
        for (auto const& word : m_words) text += (text.empty() ? "" : " ") + word;
        return text;
    }

    ExitCode serve(Session& session) {
        if (m_valuesFile.empty())
            throw std::invalid_argument("data-service needs --values FILE, or `set` or `play`");
        DataValues values = DataValues::load(m_valuesFile);
        auto const scenario = m_scenarioFile.empty() ? std::vector<Fault>() : loadScenario(m_scenarioFile);
        session.services();
        Journal<DataServiceEvent> journal;
        FileWatch file(m_valuesFile);
        DataService service(std::move(values), [&](DataServiceEvent const& event) { journal.add(event); });
        Control const control([&](std::string const& line) { return service.command(line); });
        service.start(scenario);

        auto const end = m_for ? steady_clock::now() + *m_for : steady_clock::time_point::max();
        constexpr milliseconds LOOK_AT_FILE{300};
        while (!session.stop().stop_requested() && steady_clock::now() < end) {
            for (auto const& entry : journal.take(LOOK_AT_FILE, session.stop())) show(session, entry);
            if (auto const dropped = journal.takeDropped(); dropped != 0)
                session.err() << "tester: " << dropped << " lines weren't shown" << std::endl;
            if (file.changed()) reload(session, service);
        }
        return session.stop().stop_requested() ? ExitCode::interrupted : ExitCode::allGood;
    }

    void reload(Session& session, DataService& service) const {
        try {
            service.replace(DataValues::load(m_valuesFile));
        } catch (std::invalid_argument const& error) {
            session.err() << "tester: " << error.what() << "; the records stay as they are" << std::endl;
        }
    }

    static void show(Session& session, Journal<DataServiceEvent>::Entry const& entry) {
        if (session.options().format == Format::json) {
            Json const line = {
                {"time", clockText(entry.time)}, {"event", entry.thing.kind}, {"text", entry.thing.text}};
            session.out() << line.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
            return;
        }
        Paint const paint = session.paint();
        std::string kind = padRight(entry.thing.kind, 9);
        if (entry.thing.kind == "error" || entry.thing.kind == "withdraw") kind = paint.red(kind);
        if (entry.thing.kind == "fault") kind = paint.yellow(kind);
        if (entry.thing.kind == "offer" || entry.thing.kind == "set") kind = paint.green(kind);
        session.out() << clockText(entry.time) << "  " << kind << ' ' << entry.thing.text << std::endl;
    }

    ExitCode tell(Session& session, std::string const& line) const {
        if (!line.starts_with("set ")) parseFault(line);  // a mistake is told without a service as well
        Patience const& patience = session.options().patience;
        Reached const reached =
            session.services().reach(CONTROL_INTERFACE, CONTROL_VERSION, patience.timeout, session.stop());
        if (!reached.port) {
            session.err() << "tester: no data service runs here: " << reached.problem
                          << "; start one with `tester data-service --values FILE`" << std::endl;
            return ExitCode::unreachable;
        }
        std::vector<unsigned char> const request(line.begin(), line.end());
        Exchange const exchange =
            callMethod(*reached.port, CONTROL_COMMAND, patience, session.stop(), {}, request);
        std::string const answer(exchange.payload.begin(), exchange.payload.end());
        if (exchange.outcome == Outcome::interrupted) return ExitCode::interrupted;
        if (exchange.outcome != Outcome::ok || exchange.returnCode != 0) {
            session.err() << "tester: " << (answer.empty() ? name(exchange.outcome) : answer) << std::endl;
            return ExitCode::someFailed;
        }
        if (session.options().format == Format::json)
            session.out() << Json{{"done", answer}}.dump() << std::endl;
        else
            session.out() << answer << std::endl;
        return ExitCode::allGood;
    }

    CLI::App* m_set = nullptr;
    CLI::App* m_play = nullptr;
    std::string m_valuesFile;
    std::string m_scenarioFile;
    std::optional<milliseconds> m_for;
    std::string m_record;
    std::vector<std::string> m_words;
};

}  // namespace

std::unique_ptr<Command> dataServiceCommand() {
    return std::make_unique<DataServiceCommand>();
}

}  // namespace tester
