#include "platform/com/someip/Client_link.h"

#include <unistd.h>

#include <utility>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime::someip {
namespace {

constexpr std::size_t SESSIONS = 0xFFFF;

/// Tells the clients of one machine apart.
std::uint16_t clientOfThisProcess() {
    auto const id = static_cast<std::uint16_t>(::getpid() & 0xFFFF);
    return id == 0 ? std::uint16_t{1} : id;
}

/// Why an answer to a call can't be taken at its word; empty if it can. A server of another interface version
/// may say so in its own version, and in nothing else.
std::string faultOf(Header const& answer, std::uint8_t interfaceVersion) {
    if (answer.interfaceVersion != interfaceVersion && answer.code != E_WRONG_INTERFACE_VERSION)
        return "the answer is of interface version " + std::to_string(answer.interfaceVersion) + ", not " +
               std::to_string(interfaceVersion);
    if (answer.type == static_cast<std::uint8_t>(Message_type::error) && answer.code == E_OK)
        return "the answer is an error without a return code";
    return {};
}

bool isNotification(Header const& header) {
    return header.type == static_cast<std::uint8_t>(Message_type::notification) &&
           header.protocolVersion == PROTOCOL_VERSION && header.method >= FIRST_EVENT &&
           header.code == E_OK && !header.isMagicCookie();
}

}  // namespace

Client_link::Client_link(std::shared_ptr<Link> link, Clock& clock, Endpoint remote, Limits const& limits,
                         Link_listener& listener)
    : m_link(std::move(link)),
      m_clock(clock),
      m_remote(remote),
      m_limits(limits),
      m_listener(listener),
      m_reader(limits.messageBytes),
      m_client(clientOfThisProcess()),
      m_connected(remote.transport == Transport::udp) {}

Client_link::~Client_link() {
    m_link->close();
}

void Client_link::start() {
    m_link->start(weak_from_this());
    if (m_connected) return;
    m_connectTimer = m_clock.after(m_limits.connectLimit, [weak = weak_from_this()] {
        if (auto const self = weak.lock())
            self->end(Call_outcome::not_available,
                      "no connection within " + std::to_string(self->m_limits.connectLimit.count()) + " ms");
    });
}

void Client_link::connected() {
    m_connected = true;
    m_connectTimer.reset();
    m_listener.linkConnected(m_remote);
}

void Client_link::send(std::shared_ptr<Open_call> const& call, Service_deployment const& service,
                       std::uint16_t method, Serialized_payload const& request) {
    auto const refuse = [&](std::string const& reason) {
        call->finish({Call_outcome::transport, 0, {}, m_remote.text() + ": " + reason});
    };
    if (request.bytes().size() > m_limits.messageBytes)
        return refuse("a request of " + std::to_string(request.bytes().size()) + " bytes is longer than " +
                      std::to_string(m_limits.messageBytes));
    if (m_pending.size() == SESSIONS) return refuse("too many open calls");
    do ++m_lastSession;
    while (m_lastSession == 0 || m_pending.contains(m_lastSession));

    Header header;
    header.service = service.serviceId;
    header.method = method;
    header.client = m_client;
    header.session = m_lastSession;
    header.interfaceVersion = service.version.major();
    m_pending.emplace(m_lastSession, Pending{service.serviceId, method, header.interfaceVersion, call});
    call->onEnd = [weak = weak_from_this(), session = m_lastSession] {
        if (auto const self = weak.lock()) self->m_pending.erase(session);
    };
    m_link->send(encode(header, request.bytes()));
}

void Client_link::received(std::uint8_t const* bytes, std::size_t size, Address const& /*from*/) {
    if (m_remote.transport == Transport::udp) m_reader = Frame_reader(m_limits.messageBytes);
    m_reader.feed(bytes, size);
    Frame frame;
    auto found = Frame_reader::Found::nothing;
    while ((found = m_reader.next(frame)) == Frame_reader::Found::frame) handle(frame);
    if (found != Frame_reader::Found::nothing && m_remote.transport == Transport::tcp)
        end(Call_outcome::transport, "the peer sent a message of an impossible length");
}

void Client_link::handle(Frame const& frame) {
    Header const& header = frame.header;
    if (isNotification(header)) return m_listener.notified(m_remote, frame);
    bool const answer = header.type == static_cast<std::uint8_t>(Message_type::response) ||
                        header.type == static_cast<std::uint8_t>(Message_type::error);
    auto const pending = m_pending.find(header.session);
    if (!answer || header.protocolVersion != PROTOCOL_VERSION || header.client != m_client ||
        pending == m_pending.end() || pending->second.service != header.service ||
        pending->second.method != header.method) {
        if (!header.isMagicCookie())
            log(ara::log::LogLevel::kDebug,
                m_remote.text() + ": a message that answers no open call is dropped");
        return;
    }
    auto const call = std::move(pending->second.call);
    auto const interfaceVersion = pending->second.interfaceVersion;
    m_pending.erase(pending);
    call->onEnd = nullptr;
    if (auto const fault = faultOf(header, interfaceVersion); !fault.empty())
        return call->finish({Call_outcome::transport, 0, {}, m_remote.text() + ": " + fault});
    call->finish({Call_outcome::answered, header.code, frame.payload, {}});
}

void Client_link::peerEnded() {
    end(Call_outcome::transport, "the peer closed the connection");
}

void Client_link::broken(std::error_code const& reason) {
    bool const nobody = !m_connected || reason == std::errc::connection_refused;
    end(nobody ? Call_outcome::not_available : Call_outcome::transport, reason.message());
}

void Client_link::end(Call_outcome outcome, std::string const& reason) {
    m_link->close();
    m_connectTimer.reset();
    for (auto const& [session, pending] : std::exchange(m_pending, {})) {
        pending.call->onEnd = nullptr;
        pending.call->finish({outcome, 0, {}, m_remote.text() + ": " + reason});
    }
    if (!std::exchange(m_ended, true)) m_listener.linkGone(m_remote);
}

}  // namespace eb::com::runtime::someip
