#include "tools/tester/doip/Vehicle.h"

#include <algorithm>

#include <ac/com/Exceptions.h>

#include "binding/adapter/Platform_adapter.h"

namespace tester::doip {

namespace {

/// What a monitor is told when a diagnostic event manager has come up and knows no state.
constexpr unsigned char RESTART = 1;

// A read that took much longer than the ones before was lost, most likely to another reader's answer. What is
// repeated too early is only done twice.
constexpr int TIMES_USUAL = 8;
constexpr milliseconds LEAST_WAIT{250};

std::vector<std::uint32_t> numbersOf(Catalogue const& catalogue) {
    std::vector<std::uint32_t> numbers;
    for (auto const& each : catalogue) numbers.push_back(each.number);
    return numbers;
}

}  // namespace

Vehicle::Vehicle(Services& services, Patience reading, milliseconds pause, std::stop_token stop,
                 std::function<void(Sighting const&)> tell)
    : m_reading(reading),
      m_pause(pause),
      m_stop(std::move(stop)),
      m_tell(std::move(tell)),
      m_codes(numbersOf(tester::troubleCodes())) {
    for (Catalogue const* catalogue : {&dataIdentifiers(), &routines(), &tester::troubleCodes()}) {
        for (auto const& target : *catalogue) {
            Reached& reached = m_ports[&target];
            reached = services.port({target.service, target.version, target.instance});
            if (!reached.port) m_problems.push_back(target.id + ": " + reached.problem);
        }
    }
    for (auto const& routine : routines()) m_started[&routine] = false;
    for (auto const& code : tester::troubleCodes()) m_available[&code] = false;
    for (auto const& identifier : dataIdentifiers()) {
        m_silent[&identifier] = false;
        m_usual[&identifier] = 0;
    }
    for (auto const& code : tester::troubleCodes()) {
        auto const& port = m_ports.at(&code).port;
        if (!port) continue;
        m_ears.push_back(
            std::make_shared<TroubleCodeEar>(code, [this](Sighting const& sighting) { hear(sighting); }));
        m_subscriptions.push_back(port->subscribe(MONITOR_ACTION, m_ears.back()));
    }
}

void Vehicle::hear(Sighting const& sighting) {
    bool const isState = sighting.kind == Sighting::Kind::state;
    if (isState && (sighting.word == "failed" || sighting.word == "passed")) {
        m_codes.report(sighting.code->number, sighting.word == "failed");
    }
    if (sighting.kind == Sighting::Kind::service) {
        m_available.at(sighting.code) = sighting.word == "available";
    }
    if (sighting.kind == Sighting::Kind::subscription && sighting.word == "subscribed") {
        try {
            auto const reason = std::make_shared<std::vector<unsigned char> const>(1, RESTART);
            ac::com::cpp_binding::adapter::call(*m_ports.at(sighting.code).port, METHOD_INIT_MONITOR,
                                                eb::com::runtime::Serialized_payload(reason),
                                                [](auto const&) {});  // the state comes as an event
        } catch (ac::com::Infrastructure_exception const&) {
            // The runtime has ended, and with it all events.
        }
    }
    m_tell(sighting);
}

Report Vehicle::read(Target const& identifier) {
    using std::chrono::steady_clock;
    auto const left = m_lastRead + m_pause - steady_clock::now();
    if (left > steady_clock::duration(0)) pause(std::chrono::ceil<milliseconds>(left), m_stop);
    Report report = attempt(identifier, likelyWait(identifier));
    m_lastRead = steady_clock::now();
    if (!isAnswer(report.outcome) && m_reading.attempts > 1 && isWorthRepeating(report.outcome))
        m_silent.at(&identifier) = true;
    return report;
}

Report Vehicle::readSilent(Target const& identifier) {
    using std::chrono::steady_clock;
    auto const end = steady_clock::now() + m_reading.timeout * (m_reading.attempts - 1);
    for (milliseconds wait = likelyWait(identifier);; wait *= 2) {
        auto const left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        Report report = attempt(identifier, std::min(wait, std::max(left, milliseconds(1))));
        if (isAnswer(report.outcome)) m_silent.at(&identifier) = false;
        if (!isWorthRepeating(report.outcome) || steady_clock::now() >= end) return report;
        if (report.outcome != Outcome::timeOut) pause(m_reading.retryPause, m_stop);  // it ended at once
    }
}

milliseconds Vehicle::likelyWait(Target const& identifier) const {
    milliseconds const usual(m_usual.at(&identifier).load());
    if (usual == milliseconds(0) || m_reading.attempts < 2) return m_reading.timeout;
    return std::min(m_reading.timeout, std::max(TIMES_USUAL * usual, LEAST_WAIT));
}

Report Vehicle::attempt(Target const& identifier, milliseconds limit) {
    Report report = call(identifier, METHOD_READ, Reply::output, {limit, milliseconds(0), 1});
    if (isAnswer(report.outcome)) {
        auto const took = static_cast<milliseconds::rep>(report.exchange.elapsedMs) + 1;
        auto& usual = m_usual.at(&identifier);
        usual = std::max(took, usual * 9 / 10);
    }
    return report;
}

bool Vehicle::isSilent(Target const& identifier) const {
    return m_silent.at(&identifier);
}

Report Vehicle::control(Target const& routine, unsigned short method) {
    auto const reply = method == METHOD_REQUEST_RESULTS ? Reply::output : Reply::nothing;
    Report report = call(routine, method, reply, ROUTINE_PATIENCE);
    if (method == METHOD_START && report.outcome == Outcome::ok) m_started.at(&routine) = true;
    return report;
}

Report Vehicle::call(Target const& target, unsigned short method, Reply reply, Patience const& patience) {
    Reached const& reached = m_ports.at(&target);
    if (!reached.port) return notFound(target, reached.problem);
    return judge(target, reply, callMethod(*reached.port, method, patience, m_stop), patience);
}

bool Vehicle::wasStarted(Target const& routine) const {
    return m_started.at(&routine);
}

bool Vehicle::isReady() const noexcept {
    return std::all_of(m_available.begin(), m_available.end(),
                       [](auto const& each) { return each.second.load(); });
}

}  // namespace tester::doip
