#include "tools/tester/MethodCommand.h"

#include <algorithm>

#include <CLI/CLI.hpp>

namespace tester {

namespace {

constexpr char NAMES[] = "hexadecimal number (0xB047, b047), interface name, or 'all'";

constexpr MethodWords READ{&dataIdentifiers,
                           METHOD_READ,
                           Reply::output,
                           {},
                           "read",
                           "read",
                           "ID",
                           "Read data identifiers, one after another",
                           NAMES,
                           "read"};
constexpr MethodWords CANCEL{&dataIdentifiers,
                             METHOD_CANCEL,
                             Reply::nothing,
                             {},
                             "cancel",
                             "cancel",
                             "ID",
                             "End the pending read of data identifiers: it is answered with zeros",
                             NAMES,
                             "cancelled"};

ExitCode judgeAll(std::vector<Outcome> const& outcomes) {
    auto const good = [](Outcome outcome) { return outcome == Outcome::ok; };
    auto const away = [](Outcome outcome) {
        return outcome == Outcome::notAvailable || outcome == Outcome::notFound ||
               outcome == Outcome::transport;
    };
    if (std::all_of(outcomes.begin(), outcomes.end(), good)) return ExitCode::allGood;
    return std::all_of(outcomes.begin(), outcomes.end(), away) ? ExitCode::unreachable : ExitCode::someFailed;
}

std::string seconds(milliseconds time) {
    return millisecondsText(double(time.count()) / 1000) + " s";
}

}  // namespace

CLI::App* MethodCommand::declare(CLI::App& app) {
    CLI::App* const subcommand = app.add_subcommand(m_words.name, m_words.description);
    auto const check = [catalogue = m_words.catalogue](std::string const& text) {
        return text == "all" || catalogue().find(text) ? std::string() : catalogue().unknown(text);
    };
    subcommand->add_option(m_words.argument, m_arguments, m_words.arguments)
        ->required(mustBeNamed())
        ->check(CLI::Validator(check, ""));
    return subcommand;
}

ExitCode MethodCommand::run(Session& session) {
    Selection const selection = select();
    auto const presenter = makePresenter(session, selection);
    presenter->begin();
    std::vector<Outcome> outcomes;
    for (auto const* target : selection) {
        if (!outcomes.empty()) pause(session.options().pause, session.stop());
        if (session.stop().stop_requested()) break;
        Report const report = call(session, *target);
        session.clearProgress();
        presenter->show(report);
        outcomes.push_back(report.outcome);
    }
    ExitCode const code = session.stop().stop_requested() ? ExitCode::interrupted : judgeAll(outcomes);
    presenter->end(code);
    return code;
}

Selection MethodCommand::select() const {
    Catalogue const& catalogue = m_words.catalogue();
    Selection selection;
    auto const addAll = [&] {
        for (auto const& target : catalogue) selection.push_back(&target);
    };
    for (auto const& argument : m_arguments) {
        argument == "all" ? addAll() : selection.push_back(catalogue.find(argument));
    }
    if (m_arguments.empty()) addAll();
    return selection;
}

std::unique_ptr<Presenter> MethodCommand::makePresenter(Session& session, Selection const& selection) const {
    switch (session.options().format) {
        case Format::json:
            return jsonPresenter(session, m_words.fullName);
        case Format::raw:
            return rawPresenter(session);
        case Format::human:
            break;
    }
    bool const detail = m_words.reply == Reply::output && selection.size() == 1;
    return detail ? detailPresenter(session)
                  : tablePresenter(session, selection, m_words.catalogue().noun() + "s " + m_words.done);
}

Report MethodCommand::call(Session& session, Target const& target) const {
    Patience const& patience = session.options().patience;
    Reached const reached = session.reach(target);
    if (!reached.port) return notFound(target, reached.problem + " (" + target.service + ')');
    session.tell(target.id + ' ' + m_words.fullName + ": " + target.service + " at " +
                 reached.port->endpoint());
    auto const waiting = [&](milliseconds soFar, unsigned attempt) {
        if (soFar < PATIENCE_OF_PEOPLE) return;
        session.progress(target.id + ": waiting for an answer, " + seconds(soFar) + " of " +
                         seconds(patience.timeout) + ", attempt " + std::to_string(attempt) + " of " +
                         std::to_string(patience.attempts));
    };
    Exchange exchange =
        callMethod(*reached.port, m_words.method, patience, session.stop(), waiting, request());
    for (auto const& failure : exchange.failures) session.tell(target.id + ": " + failure);
    return judge(target, m_words.reply, std::move(exchange), patience);
}

std::unique_ptr<Command> readCommand() {
    return std::make_unique<MethodCommand>(READ);
}
std::unique_ptr<Command> cancelCommand() {
    return std::make_unique<MethodCommand>(CANCEL);
}

}  // namespace tester
