// `watch`: a line for each service that comes or goes, each subscription, each event.
#include <cmath>
#include <optional>
#include <variant>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Journal.h"
#include "tools/tester/Text.h"
#include "tools/tester/discovery/Attention.h"

namespace tester {

namespace {

using namespace eb::com::runtime;
using Json = nlohmann::ordered_json;
using std::chrono::steady_clock;
using Happening = std::variant<Runtime_notice, Sample>;

char const* word(Runtime_notice::Kind kind) {
    using Kind = Runtime_notice::Kind;
    switch (kind) {
        case Kind::offered:
            return "offered";
        case Kind::lost:
            return "lost";
        case Kind::rebooted:
            return "rebooted";
        case Kind::subscribed:
            return "subscribed";
        case Kind::unsubscribed:
            return "unsubscribed";
        case Kind::acknowledged:
            return "acknowledged";
        case Kind::refused:
            break;
    }
    return "refused";
}

/// One line, for people and for programs.
struct Line {
    std::string kind;
    std::string name;
    std::string detail;
    Json json;
};

Line lineOf(Runtime_notice const& notice) {
    Line line{word(notice.kind),
              notice.service.value.empty() ? "" : shownName(notice.service, notice.instance),
              notice.where,
              {}};
    if (!notice.reason.empty()) line.detail += (line.detail.empty() ? "" : ", ") + notice.reason;
    line.json = {{"event", line.kind},
                 {"service", notice.service.value},
                 {"instance", notice.instance.value},
                 {"where", notice.where},
                 {"reason", notice.reason}};
    return line;
}

Line lineOf(Sample const& sample) {
    return {"event",
            shownName(sample.service, sample.instance),
            sample.event.name + " (" + hexNumber(sample.event.id) +
                "): " + (sample.bytes.empty() ? std::string("no bytes") : hex(sample.bytes, 32)),
            {{"event", "event"},
             {"service", sample.service.value},
             {"instance", sample.instance.value},
             {"name", sample.event.name},
             {"id", hexNumber(sample.event.id)},
             {"raw", hexPlain(sample.bytes)}}};
}

class WatchCommand final : public Command {
public:
    CLI::App* declare(CLI::App& app) override {
        CLI::App* const watch = app.add_subcommand(
            "watch", "Show services as they come and go, and their events, a line each, until Ctrl-C");
        watch->add_option("--count", m_count, "End after so many lines")->type_name("N");
        watch
            ->add_option_function<double>(
                "--for", [this](double seconds) { m_for = milliseconds(std::lround(seconds * 1000)); },
                "End after so long")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.0, 86400.0));
        return watch;
    }

    ExitCode run(Session& session) override {
        if (session.options().format == Format::raw) {
            session.err() << "tester: watch has no raw form" << std::endl;
            return ExitCode::usage;
        }
        session.services();
        Journal<Happening> journal;
        auto const watching =
            eb::com::runtime::watch([&](Runtime_notice const& notice) { journal.add(notice); });
        Attention const attention([&](Sample sample) { journal.add(std::move(sample)); });

        auto const end = m_for ? steady_clock::now() + *m_for : steady_clock::time_point::max();
        constexpr milliseconds LOOK_AROUND{500};
        std::size_t shown = 0;
        while (!session.stop().stop_requested() && steady_clock::now() < end) {
            auto const wait = std::min(LOOK_AROUND, m_for.value_or(LOOK_AROUND));
            for (auto const& entry : journal.take(wait, session.stop())) {
                show(session, entry);
                if (m_count && ++shown >= *m_count) return ExitCode::allGood;
            }
            if (auto const dropped = journal.takeDropped(); dropped != 0)
                session.err() << "tester: " << dropped << " lines weren't shown" << std::endl;
            if (shown == 0) session.progress("waiting for services...");
        }
        session.clearProgress();
        return session.stop().stop_requested() ? ExitCode::interrupted : ExitCode::allGood;
    }

private:
    static void show(Session& session, Journal<Happening>::Entry const& entry) {
        session.clearProgress();
        Line line = std::visit([](auto const& happening) { return lineOf(happening); }, entry.thing);
        if (session.options().format == Format::json) {
            Json document{{"time", clockText(entry.time)}};
            document.update(line.json);
            session.out() << document.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
            return;
        }
        Paint const paint = session.paint();
        std::string kind = padRight(line.kind, 12);
        if (line.kind == "offered" || line.kind == "acknowledged") kind = paint.green(kind);
        if (line.kind == "lost" || line.kind == "refused" || line.kind == "rebooted") kind = paint.red(kind);
        session.out() << clockText(entry.time) << "  " << kind << "  " << padRight(line.name, 44) << "  "
                      << line.detail << std::endl;
    }

    std::optional<std::size_t> m_count;
    std::optional<milliseconds> m_for;
};

}  // namespace

std::unique_ptr<Command> watchCommand() {
    return std::make_unique<WatchCommand>();
}

}  // namespace tester
