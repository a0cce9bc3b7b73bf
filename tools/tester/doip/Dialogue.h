// One tester's requests and responses, in time.
#pragma once

#include <functional>
#include <memory>

#include "tools/tester/doip/Alarm.h"
#include "tools/tester/doip/Lanes.h"
#include "tools/tester/doip/Statistics.h"
#include "tools/tester/doip/Uds.h"

namespace tester::doip {

/// What the dialogues with all testers share.
struct Diagnostics {
    Uds uds;
    UdsTiming timing;
    Lanes& lanes;
    Statistics& statistics;
};

/// A UDS message on its way to the tester.
struct Outgoing {
    Message bytes;
    std::string note;
    /// To be called as the bytes leave; gives the milliseconds since the request came, or since the last
    /// response pending left.
    std::function<double()> leaving;
};

/// The diagnostic session with one tester, and the request under way (ISO 14229-2). Sends a response pending
/// (0x78) before P2 and each P2* are over, falls back to the default session S3 after the last response, and
/// refuses a second request while one is under way. Belongs to a connection; network thread. Destruction
/// drops the response to a request under way.
///
///     idle --request that needs the vehicle--> waiting --its answer--> idle
///                                              |  ^
///                                              '--' P2, P2*: 0x78
class Dialogue : public std::enable_shared_from_this<Dialogue> {
public:
    using Send = std::function<void(Outgoing)>;

    /// `diagnostics` has to outlive it. `fellBack` is called when the session ended for want of requests.
    Dialogue(asio::io_context& context, Diagnostics& diagnostics, Send send, std::function<void()> fellBack);

    /// `request` has one byte at least.
    void request(Bytes request, bool functional);

private:
    using Clock = std::chrono::steady_clock;

    void work(std::size_t lane);
    void expectPending(milliseconds limit);
    void sendPending();
    void finish(Response response);
    bool isSilent(Response const& response) const;
    void send(Response response);

    asio::io_context& m_context;
    Diagnostics& m_diagnostics;
    Send const m_send;
    std::function<void()> const m_fellBack;
    UdsSession m_session = UdsSession::standard;
    Alarm m_pendingDue;
    Alarm m_sessionEnd;
    // Of the request under way, or the last one.
    bool m_waiting = false;
    std::uint8_t m_service = 0;
    bool m_functional = false;
    Plan m_plan;
    bool m_pendingSent = false;
    std::shared_ptr<Clock::time_point> m_since;  // the request came, or the last 0x78 left
};

}  // namespace tester::doip
