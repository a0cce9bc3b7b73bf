// `list`: where each service is deployed, and whether somebody listens there.
#include <algorithm>
#include <map>

#include <CLI/CLI.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Probe.h"
#include "tools/tester/Report.h"

namespace tester {

namespace {

struct Row {
    Target const* target;
    std::string endpoint;  // as the runtime tells it; empty if the service can't be reached at all
    Listening listening = Listening::no;
    std::string problem;
    std::vector<std::string> rivals = {};  // who else offers the instance
};

char const* word(Listening listening) {
    switch (listening) {
        case Listening::yes:
            return "yes";
        case Listening::no:
            return "no";
        case Listening::unknown:
            break;
    }
    return "unknown";
}

class ListCommand final : public Command {
public:
    /// Of every target, or of the trouble codes alone.
    explicit ListCommand(std::vector<Catalogue const*> catalogues) : m_catalogues(std::move(catalogues)) {}

    CLI::App* declare(CLI::App& app) override {
        return app.add_subcommand("list",
                                  "Show each service with its endpoint, and whether somebody listens there");
    }

    ExitCode run(Session& session) override {
        if (session.options().format == Format::raw) {
            session.err() << "tester: list has no raw form" << std::endl;
            return ExitCode::usage;
        }
        std::vector<Row> rows;
        for (auto const* catalogue : m_catalogues) {
            for (auto const& target : *catalogue) {
                if (session.stop().stop_requested()) return ExitCode::interrupted;
                rows.push_back(look(session, target));
            }
        }
        ExitCode const code = judge(rows);
        if (session.options().format == Format::json) {
            showJson(session, rows, code);
        } else {
            showTable(session, rows);
        }
        return code;
    }

private:
    Row look(Session& session, Target const& target) {
        Reached const reached = session.reach(target);
        if (!reached.port) return {&target, {}, Listening::no, reached.problem};
        std::string const endpoint = reached.port->endpoint();
        auto known = m_probed.find(endpoint);
        if (known == m_probed.end()) {
            known =
                m_probed.emplace(endpoint, probe(parseEndpoint(endpoint), session.options().patience.timeout))
                    .first;
        }
        return {&target, endpoint, known->second, {}, session.rivals(target)};
    }

    static ExitCode judge(std::vector<Row> const& rows) {
        auto const away = std::count_if(rows.begin(), rows.end(),
                                        [](Row const& row) { return row.listening == Listening::no; });
        if (away == 0) return ExitCode::allGood;
        return away == std::ssize(rows) ? ExitCode::unreachable : ExitCode::someFailed;
    }

    static void showTable(Session& session, std::vector<Row> const& rows) {
        Paint const paint = session.paint();
        std::size_t idWidth = 6;
        std::size_t width = 0;
        std::size_t instanceWidth = 8;
        for (auto const& row : rows) {
            idWidth = std::max(idWidth, row.target->id.size());
            width = std::max(width, row.target->interface.size());
            instanceWidth = std::max(instanceWidth, visible(row.target->instance).size());
        }
        auto const line = [=](auto const& id, auto const& interface, auto const& instance,
                              auto const& endpoint) {
            return padRight(id, idWidth) + "  " + padRight(interface, width) + "  " +
                   padRight(instance, instanceWidth) + "  " + padRight(endpoint, 26) + "  ";
        };
        session.out() << paint.bold(line("id", "interface", "instance", "endpoint") + "listening") << '\n';
        for (auto const& row : rows) {
            std::string const text = word(row.listening);
            session.out() << line(row.target->id, row.target->interface, visible(row.target->instance),
                                  row.endpoint.empty() ? "-" : row.endpoint)
                          << (row.listening == Listening::no ? paint.red(text) : paint.green(text)) << '\n';
            if (!row.problem.empty()) session.out() << "        " << paint.yellow(row.problem) << '\n';
            for (auto const& rival : row.rivals)
                session.out() << "        " << paint.yellow("also offered by " + rival + ", which isn't used")
                              << '\n';
        }
        session.out() << std::flush;
    }

    static void showJson(Session& session, std::vector<Row> const& rows, ExitCode code) {
        using Json = nlohmann::ordered_json;
        Json services = Json::array();
        for (auto const& row : rows) {
            Endpoint const endpoint = parseEndpoint(row.endpoint);
            services.push_back(
                {{"id", row.target->id},
                 {"interface", row.target->interface},
                 {"service", row.target->service},
                 {"instance", row.target->instance},
                 {"endpoint", row.endpoint.empty() ? Json() : Json(row.endpoint)},
                 {"transport", endpoint.transport.empty() ? Json() : Json(endpoint.transport)},
                 {"address", endpoint.address.empty() ? Json() : Json(endpoint.address)},
                 {"port", endpoint.address.empty() ? Json() : Json(endpoint.port)},
                 {"listening",
                  row.listening == Listening::unknown ? Json() : Json(row.listening == Listening::yes)},
                 {"also_offered_by", row.rivals},
                 {"detail", row.problem.empty() ? Json() : Json(row.problem)}});
        }
        Json const document{
            {"command", "list"}, {"exit_code", static_cast<int>(code)}, {"services", services}};
        session.out() << document.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
    }

    std::vector<Catalogue const*> m_catalogues;
    std::map<std::string, Listening> m_probed;  // by endpoint: most services share one
};

}  // namespace

std::unique_ptr<Command> listCommand() {
    return std::make_unique<ListCommand>(std::vector{&dataIdentifiers(), &routines(), &troubleCodes()});
}
std::unique_ptr<Command> listTroubleCodesCommand() {
    return std::make_unique<ListCommand>(std::vector{&troubleCodes()});
}

}  // namespace tester
