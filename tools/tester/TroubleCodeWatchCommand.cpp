// `dtc watch`: a line for each state that a monitor reports, as it comes.
#include <cmath>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Journal.h"
#include "tools/tester/TroubleCodeEar.h"

namespace tester {

namespace {

using std::chrono::steady_clock;

using Sightings = Journal<Sighting>;

class TroubleCodeWatchCommand final : public Command {
public:
    CLI::App* declare(CLI::App& app) override {
        CLI::App* const subcommand = app.add_subcommand(
            "watch", "Tell each state as it is reported, and the services' coming and going");
        subcommand
            ->add_option("CODE", m_arguments,
                         "decimal or hexadecimal number (8495840, 0x81A2E0), or 'all' (as without any)")
            ->check(CLI::Validator(
                [](std::string const& text) {
                    return text == "all" || troubleCodes().find(text) ? std::string()
                                                                      : troubleCodes().unknown(text);
                },
                ""));
        subcommand->add_option("--count", m_count, "End after so many states")
            ->type_name("N")
            ->check(CLI::Range(1U, 1'000'000'000U).description(""));
        subcommand
            ->add_option_function<double>(
                "--for", [this](double seconds) { m_for = milliseconds(std::lround(seconds * 1000)); },
                "End after so long")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.0, 86400.0).description(""));
        return subcommand;
    }

    ExitCode run(Session& session) override {
        auto const sightings = std::make_shared<Sightings>();
        std::vector<std::shared_ptr<TroubleCodeEar>> ears;
        std::vector<std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>> subscriptions;
        for (auto const& code : troubleCodes()) {
            if (!isWanted(code)) continue;
            Reached const reached = session.services().port({code.service, code.version, code.instance});
            if (!reached.port) {
                session.err() << "tester: " << code.id << ": " << reached.problem << std::endl;
                return ExitCode::usage;
            }
            ears.push_back(std::make_shared<TroubleCodeEar>(
                code, [sightings](Sighting sighting) { sightings->add(std::move(sighting)); }));
            subscriptions.push_back(reached.port->subscribe(MONITOR_ACTION, ears.back()));
        }
        return watch(session, *sightings);
    }

private:
    bool isWanted(Target const& code) const {
        bool wanted = m_arguments.empty();
        for (auto const& argument : m_arguments) {
            wanted = wanted || argument == "all" || troubleCodes().find(argument) == &code;
        }
        return wanted;
    }

    ExitCode watch(Session& session, Sightings& sightings) const {
        constexpr milliseconds LOOK_AROUND{1000};
        auto const end = m_for ? steady_clock::now() + *m_for : steady_clock::time_point::max();
        unsigned states = 0;
        bool wasThere = false;
        while (!session.stop().stop_requested()) {
            milliseconds const left =
                m_for ? std::chrono::ceil<milliseconds>(end - steady_clock::now()) : LOOK_AROUND;
            if (left <= milliseconds(0)) break;
            for (auto const& entry : sightings.take(std::min(left, LOOK_AROUND), session.stop())) {
                show(session, entry);
                wasThere =
                    wasThere || entry.thing.kind == Sighting::Kind::state || entry.thing.word == "subscribed";
                if (entry.thing.kind == Sighting::Kind::state && ++states == m_count)
                    return ExitCode::allGood;
            }
            if (auto const dropped = sightings.takeDropped(); dropped != 0) {
                session.err() << "tester: " << dropped << " lines weren't shown" << std::endl;
            }
        }
        if (session.stop().stop_requested()) return ExitCode::interrupted;
        if (!wasThere) {
            session.err() << "tester: no monitor was to be had" << std::endl;
            return ExitCode::unreachable;
        }
        if (m_count == 0) return ExitCode::allGood;
        session.err() << "tester: " << counted(states, "state") << " of " << m_count << " came in time"
                      << std::endl;
        return ExitCode::someFailed;
    }

    static void show(Session& session, Sightings::Entry const& entry) {
        Sighting const& sighting = entry.thing;
        bool const isState = sighting.kind == Sighting::Kind::state;
        switch (session.options().format) {
            case Format::json:
                return showJson(session, entry);
            case Format::raw:
                if (isState) session.out() << hexPlain(sighting.bytes) << std::endl;
                return;
            case Format::human:
                break;
        }
        Paint const paint = session.paint();
        std::string const raw = isState ? hex(sighting.bytes, 8) : "--";
        std::string text = sighting.word;
        if (sighting.kind == Sighting::Kind::service) text = "service " + text;
        if (text == "not_subscribed") text = "not subscribed";
        if (isState) {
            text = sighting.word == "passed" ? paint.green(text) : paint.red(text);
        } else if (sighting.word == "unavailable" || sighting.word == "not_subscribed") {
            text = paint.yellow(text);
        }
        session.out() << clockText(entry.time) << "  " << sighting.code->shortName << "  "
                      << sighting.code->id << "  " << raw << "  " << text << std::endl;
    }

    static void showJson(Session& session, Sightings::Entry const& entry) {
        using Json = nlohmann::ordered_json;
        Sighting const& sighting = entry.thing;
        bool const isState = sighting.kind == Sighting::Kind::state;
        char const* const what = isState                                    ? "state"
                                 : sighting.kind == Sighting::Kind::service ? "service"
                                                                            : "subscription";
        Json const line{{"time", clockText(entry.time)},
                        {"what", what},
                        {"id", sighting.code->id},
                        {"code", sighting.code->number},
                        {"raw", isState ? Json(hexPlain(sighting.bytes)) : Json()},
                        {"state", sighting.word}};
        session.out() << line.dump() << std::endl;
    }

    std::vector<std::string> m_arguments;
    unsigned m_count = 0;  // 0 for no end
    std::optional<milliseconds> m_for;
};

}  // namespace

std::unique_ptr<Command> watchTroubleCodesCommand() {
    return std::make_unique<TroubleCodeWatchCommand>();
}

}  // namespace tester
