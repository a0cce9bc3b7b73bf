#include <algorithm>

#include "tools/tester/Codes.h"
#include "tools/tester/Presenter.h"

namespace tester {

namespace {

constexpr std::size_t RAW_BYTES = 8;
constexpr std::size_t RAW_WIDTH = RAW_BYTES * 3 - 1 + 4;  // with "..." between the two halves
constexpr std::size_t LENGTH_WIDTH = 6;
constexpr std::size_t VALUE_WIDTH = 48;
constexpr std::size_t TIME_WIDTH = 8;

/// A failure in the few words that a column holds.
std::string failureText(Report const& report) {
    switch (report.outcome) {
        case Outcome::serviceError:
            return "ERROR " + negativeResponseName(report.exchange.payload[0]);
        case Outcome::returnCode:
            return "ERROR return code " + hexByte(report.exchange.returnCode);
        case Outcome::undecodable:
            return "UNDECODABLE";
        case Outcome::timeOut:
            return "TIME-OUT after " + counted(report.exchange.attempts, "attempt");
        case Outcome::cancelled:
            return "GIVEN UP by the runtime";
        case Outcome::transport:
            return "CONNECTION BROKEN";
        case Outcome::notAvailable:
            return "NOT AVAILABLE";
        case Outcome::notFound:
            return "NOT FOUND";
        case Outcome::ok:
        case Outcome::interrupted:
            break;
    }
    return "INTERRUPTED";
}

class TablePresenter final : public Presenter {
public:
    TablePresenter(Session& session, Selection const& selection, std::string done)
        : m_session(session), m_paint(session.paint()), m_total(selection.size()), m_done(std::move(done)) {
        for (auto const* target : selection) {
            m_idWidth = std::max(m_idWidth, target->id.size());
            m_nameWidth = std::max(m_nameWidth, target->shortName.size());
        }
    }

    void begin() override {
        m_session.out() << m_paint.bold(line("id", "interface", "raw", "length", "value", "ms", "outcome"))
                        << '\n';
    }

    void show(Report const& report) override {
        Exchange const& exchange = report.exchange;
        bool const answered = exchange.outcome == Outcome::ok;
        bool const good = report.outcome == Outcome::ok;
        if (good) ++m_good;
        std::string const row =
            line(report.target->id, report.target->shortName,
                 exchange.payload.empty() ? "-" : hex(exchange.payload, RAW_BYTES),
                 answered ? std::to_string(exchange.payload.size()) + " B" : "-",
                 good ? valueText(report) : failureText(report),
                 answered ? millisecondsText(exchange.elapsedMs) : "-", name(report.outcome));
        m_session.out() << (good ? row : m_paint.red(row)) << '\n';
        if (!report.detail.empty()) {
            m_session.out() << std::string(m_idWidth + 2, ' ') << m_paint.yellow(report.detail) << '\n';
        }
        m_session.out() << std::flush;
    }

    void end(ExitCode) override {
        std::string const sum = std::to_string(m_good) + '/' + std::to_string(m_total) + ' ' + m_done;
        m_session.out() << (m_good == m_total ? m_paint.green(sum) : m_paint.red(sum)) << std::endl;
    }

private:
    std::string line(std::string const& id, std::string const& interface, std::string const& raw,
                     std::string const& length, std::string const& value, std::string const& time,
                     std::string const& outcome) const {
        return padRight(id, m_idWidth) + "  " + padRight(interface, m_nameWidth) + "  " +
               padRight(raw, RAW_WIDTH) + "  " + padLeft(length, LENGTH_WIDTH) + "  " +
               padRight(cut(value, VALUE_WIDTH), VALUE_WIDTH) + "  " + padLeft(time, TIME_WIDTH) + "  " +
               outcome;
    }

    Session& m_session;
    Paint m_paint;
    std::size_t m_total;
    std::string m_done;
    std::size_t m_idWidth = 6;
    std::size_t m_nameWidth = 9;
    std::size_t m_good = 0;
};

}  // namespace

std::unique_ptr<Presenter> tablePresenter(Session& session, Selection const& selection, std::string done) {
    return std::make_unique<TablePresenter>(session, selection, std::move(done));
}

}  // namespace tester
