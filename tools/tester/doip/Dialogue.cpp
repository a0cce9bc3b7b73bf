#include "tools/tester/doip/Dialogue.h"

#include <algorithm>

#include <asio/post.hpp>

namespace tester::doip {

namespace {

/// Part of P2 or P2* after which a response pending is sent: the rest is for its way.
constexpr double PART_OF_LIMIT = 0.7;

/// A request that wants nothing but to keep the session: it may come while another is under way.
bool isSilentPresence(Bytes request) {
    return request.size() == 2 && request[0] == 0x3E && request[1] == 0x80;
}

/// Answers that whoever asks all targets at once doesn't get.
bool isSilentIfFunctional(std::uint8_t code) {
    constexpr std::uint8_t CODES[] = {0x11, 0x12, 0x31, 0x7E, 0x7F};
    return std::find(std::begin(CODES), std::end(CODES), code) != std::end(CODES);
}

}  // namespace

Dialogue::Dialogue(asio::io_context& context, Diagnostics& diagnostics, Send send,
                   std::function<void()> fellBack)
    : m_context(context),
      m_diagnostics(diagnostics),
      m_send(std::move(send)),
      m_fellBack(std::move(fellBack)),
      m_pendingDue(context),
      m_sessionEnd(context) {}

void Dialogue::request(Bytes request, bool functional) {
    ++m_diagnostics.statistics.requests;
    if (m_waiting) {
        if (isSilentPresence(request)) {
            ++m_diagnostics.statistics.suppressed;
            return;
        }
        ++m_diagnostics.statistics.negative;
        Response const busy = negative(request[0], Nrc::busyRepeatRequest, "a request is under way");
        return m_send({busy.bytes, busy.note, [] { return 0.0; }});
    }
    m_sessionEnd.cancel();
    m_service = request[0];
    m_functional = functional;
    m_pendingSent = false;
    m_since = std::make_shared<Clock::time_point>(Clock::now());
    m_plan = m_diagnostics.uds.plan(request, m_session);
    if (!m_plan.work) return finish(std::move(m_plan.response));

    m_waiting = true;
    expectPending(m_diagnostics.timing.p2);
    work(m_plan.lane);
}

void Dialogue::work(std::size_t lane) {
    bool const added =
        m_diagnostics.lanes.add(lane, [work = m_plan.work, weak = weak_from_this(), &context = m_context] {
            if (weak.expired()) return;
            asio::post(context, [weak, progress = work()]() mutable {
                auto const self = weak.lock();
                if (!self) return;
                if (auto const* const next = std::get_if<std::size_t>(&progress)) return self->work(*next);
                self->finish(std::get<Response>(std::move(progress)));
            });
        });
    if (!added)
        finish(negative(m_service, Nrc::busyRepeatRequest,
                        "too many testers wait for the same service of the vehicle"));
}

void Dialogue::expectPending(milliseconds limit) {
    auto const due = std::chrono::duration_cast<Clock::duration>(limit * PART_OF_LIMIT);
    m_pendingDue.set(due, [this] { sendPending(); });
}

void Dialogue::sendPending() {
    ++m_diagnostics.statistics.pending;
    send(negative(m_service, Nrc::responsePending, {}));
    m_pendingSent = true;
    expectPending(m_diagnostics.timing.p2Star);
}

void Dialogue::finish(Response response) {
    m_waiting = false;
    m_pendingDue.cancel();
    Statistics& statistics = m_diagnostics.statistics;
    if (response.isPositive() && m_plan.session) m_session = *m_plan.session;
    if (isSilent(response)) {
        ++statistics.suppressed;
    } else {
        ++(response.isPositive() ? statistics.positive : statistics.negative);
        send(std::move(response));
    }
    m_plan = {};
    if (m_session == UdsSession::standard) return;
    m_sessionEnd.set(m_diagnostics.timing.s3, [this] {
        m_session = UdsSession::standard;
        m_fellBack();
    });
}

/// Whoever has heard of a pending response waits for the response itself, whatever it is.
bool Dialogue::isSilent(Response const& response) const {
    if (m_pendingSent) return false;
    if (response.isPositive()) return m_plan.suppressPositive;
    return m_functional && isSilentIfFunctional(response.code());
}

void Dialogue::send(Response response) {
    auto leaving = [since = m_since, first = !m_pendingSent, &diagnostics = m_diagnostics] {
        auto const now = Clock::now();
        double const elapsed =
            std::chrono::duration<double, std::milli>(now - std::exchange(*since, now)).count();
        Times& times = first ? diagnostics.statistics.p2 : diagnostics.statistics.p2Star;
        auto const limit = first ? diagnostics.timing.p2 : diagnostics.timing.p2Star;
        times.add(elapsed, double(limit.count()));
        return elapsed;
    };
    m_send({std::move(response.bytes), std::move(response.note), std::move(leaving)});
}

}  // namespace tester::doip
