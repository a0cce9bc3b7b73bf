// `read` and `cancel`: one method of some data identifiers, one after another.
#include <algorithm>

#include <CLI/CLI.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Presenter.h"

namespace tester {

namespace {

/// Longer than this without an answer, and the user is told what is being waited for.
constexpr milliseconds PATIENCE_OF_PEOPLE{1000};

struct MethodWords {
    unsigned short method;
    char const* name;
    char const* description;
    char const* done;
};

constexpr MethodWords READ{METHOD_READ, "read", "Read data identifiers, one after another", "read"};
constexpr MethodWords CANCEL{METHOD_CANCEL, "cancel",
                             "End the pending read of data identifiers: it is answered with zeros",
                             "cancelled"};

std::string checkIdentifier(std::string const& text) {
    return text == "all" || findDataIdentifier(text) ? std::string() : unknownDataIdentifier(text);
}

class MethodCommand final : public Command {
public:
    explicit MethodCommand(MethodWords const& words) : m_words(words) {}

    CLI::App* declare(CLI::App& app) override {
        CLI::App* const subcommand = app.add_subcommand(m_words.name, m_words.description);
        subcommand
            ->add_option("ID", m_arguments, "hexadecimal number (0xB047, b047), interface name, or 'all'")
            ->required()
            ->check(CLI::Validator(checkIdentifier, ""));
        return subcommand;
    }

    ExitCode run(Session& session) override {
        Selection const selection = select();
        auto const presenter = makePresenter(session, selection);
        presenter->begin();
        std::vector<Outcome> outcomes;
        for (auto const* identifier : selection) {
            if (!outcomes.empty()) pause(session.options().pause, session.stop());
            if (session.stop().stop_requested()) break;
            Report const report = call(session, *identifier);
            session.clearProgress();
            presenter->show(report);
            outcomes.push_back(report.outcome);
        }
        ExitCode const code = session.stop().stop_requested() ? ExitCode::interrupted : judgeAll(outcomes);
        presenter->end(code);
        return code;
    }

private:
    Selection select() const {
        Selection selection;
        for (auto const& argument : m_arguments) {
            if (argument != "all") {
                selection.push_back(findDataIdentifier(argument));
                continue;
            }
            for (auto const& identifier : dataIdentifiers()) selection.push_back(&identifier);
        }
        return selection;
    }

    std::unique_ptr<Presenter> makePresenter(Session& session, Selection const& selection) const {
        switch (session.options().format) {
            case Format::json:
                return jsonPresenter(session, m_words.name);
            case Format::raw:
                return rawPresenter(session);
            case Format::human:
                break;
        }
        bool const detail = m_words.method == METHOD_READ && selection.size() == 1;
        return detail ? detailPresenter(session) : tablePresenter(session, selection, m_words.done);
    }

    Report call(Session& session, DataIdentifier const& identifier) const {
        Patience const& patience = session.options().patience;
        std::string const id = hexNumber(identifier.number);
        Reached const reached = session.services().reach(identifier.service, identifier.version,
                                                         patience.timeout, session.stop());
        if (!reached.port) return notFound(identifier, reached.problem + " (" + identifier.service + ')');
        session.tell(id + ' ' + m_words.name + ": " + identifier.service + " at " + reached.port->endpoint());
        auto const waiting = [&](milliseconds soFar, unsigned attempt) {
            if (soFar < PATIENCE_OF_PEOPLE) return;
            session.progress(id + ": waiting for an answer, " +
                             millisecondsText(double(soFar.count()) / 1000) + " s of " +
                             millisecondsText(double(patience.timeout.count()) / 1000) + " s, attempt " +
                             std::to_string(attempt) + " of " + std::to_string(patience.attempts));
        };
        Exchange exchange = callMethod(*reached.port, m_words.method, patience, session.stop(), waiting);
        for (auto const& failure : exchange.failures) session.tell(id + ": " + failure);
        return judge(identifier, m_words.method, std::move(exchange), patience);
    }

    static ExitCode judgeAll(std::vector<Outcome> const& outcomes) {
        auto const good = [](Outcome outcome) { return outcome == Outcome::ok; };
        auto const away = [](Outcome outcome) {
            return outcome == Outcome::notAvailable || outcome == Outcome::notFound ||
                   outcome == Outcome::transport;
        };
        if (std::all_of(outcomes.begin(), outcomes.end(), good)) return ExitCode::allGood;
        return std::all_of(outcomes.begin(), outcomes.end(), away) ? ExitCode::unreachable
                                                                   : ExitCode::someFailed;
    }

    MethodWords m_words;
    std::vector<std::string> m_arguments;
};

}  // namespace

std::unique_ptr<Command> readCommand() {
    return std::make_unique<MethodCommand>(READ);
}
std::unique_ptr<Command> cancelCommand() {
    return std::make_unique<MethodCommand>(CANCEL);
}

}  // namespace tester
