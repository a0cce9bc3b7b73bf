#include "tools/tester/Codes.h"
#include "tools/tester/Presenter.h"

namespace tester {

namespace {

constexpr std::size_t TYPE_WIDTH = 11;
constexpr std::size_t VALUE_BYTES = 32;

class DetailPresenter final : public Presenter {
public:
    explicit DetailPresenter(Session& session) : m_session(session), m_paint(session.paint()) {}

    void show(Report const& report) override {
        std::ostream& out = m_session.out();
        Exchange const& exchange = report.exchange;
        bool const answered = exchange.outcome == Outcome::ok;
        out << m_paint.bold(report.target->id + "  " + report.target->interface) << '\n'
            << "service   " << report.target->service << ", instance " << visible(report.target->instance)
            << '\n'
            << "endpoint  " << (exchange.endpoint.empty() ? "-" : exchange.endpoint) << '\n';
        if (answered) {
            out << "answer    " << hexByte(exchange.returnCode) << ' ' << answerText(report) << ", "
                << counted(exchange.payload.size(), "byte") << " in " << millisecondsText(exchange.elapsedMs)
                << " ms, " << counted(exchange.attempts, "attempt") << '\n';
        }
        if (!report.detail.empty()) {
            bool const good = report.outcome == Outcome::ok;
            out << (good ? m_paint.yellow("note      " + report.detail)
                         : m_paint.red("FAILED    " + report.detail))
                << '\n';
        }
        if (!exchange.payload.empty()) out << '\n' << hexDump(exchange.payload);
        if (auto const outcome = routineOutcome(report)) {
            out << "\nstatus    " << outcome->status << "\nresult    " << outcome->result << '\n';
        } else if (!report.decoded.fields.empty()) {
            showFields(report.decoded.fields);
        }
        out << std::flush;
    }

private:
    static std::string answerText(Report const& report) {
        if (report.outcome == Outcome::serviceError) return "UDSServiceFailed";
        std::string const meaning = returnCodeMeaning(report.exchange.returnCode);
        return meaning.substr(0, meaning.find(':'));
    }

    void showFields(std::vector<Field> const& fields) {
        m_session.out() << '\n' << m_paint.bold(line("field", "type", "length", "value")) << '\n';
        auto const list = entries(fields);
        for (std::size_t index = 0; index < fields.size(); ++index) {
            bool const isList = !list.empty() && index + 1 == fields.size();
            std::string const value = isList ? valueText({fields[index - 1], fields[index]})
                                             : fieldText(fields[index], VALUE_BYTES);
            showLine(std::to_string(index + 1), fields[index].type, fields[index].value.size(), value);
        }
        for (std::size_t index = 0; index < list.size(); ++index) {
            std::string const value = hex(list[index]) + "  |" + characters(list[index]) + '|';
            showLine("  [" + std::to_string(index) + ']', "entry", list[index].size(), value);
        }
    }

    void showLine(std::string const& position, std::string const& type, std::size_t size,
                  std::string const& value) {
        m_session.out() << line(position, type, std::to_string(size) + " B", value) << '\n';
    }

    static std::string line(std::string const& position, std::string const& type, std::string const& length,
                            std::string const& value) {
        return padRight(position, 8) + "  " + padRight(type, TYPE_WIDTH) + "  " + padLeft(length, 6) + "  " +
               value;
    }

    Session& m_session;
    Paint m_paint;
};

}  // namespace

std::unique_ptr<Presenter> detailPresenter(Session& session) {
    return std::make_unique<DetailPresenter>(session);
}

}  // namespace tester
