// The forms for programs: JSON and bare hex digits.
#include "tools/tester/Presenter.h"

namespace tester {

namespace {

class JsonPresenter final : public Presenter {
public:
    JsonPresenter(Session& session, std::string command)
        : m_session(session), m_command(std::move(command)) {}

    void show(Report const& report) override {
        m_results.push_back(toJson(report));
        if (report.outcome == Outcome::ok) ++m_good;
    }

    void end(ExitCode code) override {
        Options const& options = m_session.options();
        nlohmann::ordered_json const document{{"command", m_command},
                                              {"timeout_ms", options.patience.timeout.count()},
                                              {"ok", m_good},
                                              {"failed", m_results.size() - m_good},
                                              {"exit_code", static_cast<int>(code)},
                                              {"results", m_results}};
        m_session.out() << document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                        << std::endl;
    }

private:
    Session& m_session;
    std::string m_command;
    nlohmann::ordered_json m_results = nlohmann::ordered_json::array();
    std::size_t m_good = 0;
};

class RawPresenter final : public Presenter {
public:
    explicit RawPresenter(Session& session) : m_session(session) {}

    void show(Report const& report) override {
        bool const isReply = report.exchange.returnCode == 0;  // an error's payload is none
        m_session.out() << (isReply ? hexPlain(report.exchange.payload) : std::string()) << std::endl;
        if (report.outcome == Outcome::ok && report.detail.empty()) return;
        m_session.err() << "tester: " << report.target->id << ": " << report.detail << std::endl;
    }

private:
    Session& m_session;
};

}  // namespace

std::unique_ptr<Presenter> jsonPresenter(Session& session, std::string command) {
    return std::make_unique<JsonPresenter>(session, std::move(command));
}

std::unique_ptr<Presenter> rawPresenter(Session& session) {
    return std::make_unique<RawPresenter>(session);
}

}  // namespace tester
