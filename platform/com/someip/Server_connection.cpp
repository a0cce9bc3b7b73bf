#include "platform/com/someip/Server_connection.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/com/runtime/Session.h"

namespace eb::com::runtime::someip {
namespace {

/// How long a connection that has said everything waits for its peer to end too. Closed at once, with bytes
/// of the peer unread, it would take the last answer away from the peer.
constexpr std::chrono::milliseconds LINGER{1000};

std::optional<unsigned short> indexOf(Service_deployment const& service, std::uint16_t wireId) {
    auto const found = std::find_if(service.methods.begin(), service.methods.end(),
                                    [&](Method_deployment const& method) { return method.id == wireId; });
    if (found == service.methods.end()) return {};
    return static_cast<unsigned short>(found - service.methods.begin());
}

bool isType(Header const& header, Message_type type) {
    return header.type == static_cast<std::uint8_t>(type);
}

/// What is wrong with a request to those services, by the order of the protocol's own table.
std::uint8_t check(Header const& header, Offers const& offers) {
    if (header.protocolVersion != PROTOCOL_VERSION) return E_WRONG_PROTOCOL_VERSION;
    auto const service = offers.find(header.service);
    if (service == offers.end()) return E_UNKNOWN_SERVICE;
    Service_deployment const& deployment = service->second->deployment();
    if (header.interfaceVersion != deployment.version.major()) return E_WRONG_INTERFACE_VERSION;
    if (!indexOf(deployment, header.method)) return E_UNKNOWN_METHOD;
    if (!isType(header, Message_type::request) && !isType(header, Message_type::requestNoReturn))
        return E_WRONG_MESSAGE_TYPE;
    return E_OK;
}

/// Answering an answer could go on for ever between two servers, and who wants no answer gets none.
bool wantsAnswer(Header const& header) {
    return !isType(header, Message_type::requestNoReturn) && !isType(header, Message_type::notification) &&
           (header.type & 0x80U) == 0;
}

}  // namespace

Server_connection::Server_connection(std::shared_ptr<Server_context> context, std::shared_ptr<Link> link,
                                     std::function<void()> closed)
    : m_context(std::move(context)),
      m_link(std::move(link)),
      m_closed(std::move(closed)),
      m_reader(m_context->limits.messageBytes),
      m_lastActive(m_context->clock.now()) {}

Server_connection::~Server_connection() {
    m_link->close();
}

void Server_connection::start() {
    m_source =
        std::make_shared<Call_source>(m_context->backlog, [loop = m_context->loop, weak = weak_from_this()] {
            loop->post([weak] {
                if (auto const connection = weak.lock()) connection->readOn();
            });
        });
    m_link->start(weak_from_this());
}

bool Server_connection::isFull() const noexcept {
    return m_calls >= m_context->limits.outstandingCalls ||
           m_callBytes > 2 * m_context->limits.messageBytes || !m_source->mayTake();
}

bool Server_connection::pausesWhenFull() {
    if (!isFull()) return false;
    m_source->awaitRoom();
    if (!isFull()) return false;
    if (!std::exchange(m_paused, true)) m_link->pause();
    return true;
}

void Server_connection::received(std::uint8_t const* bytes, std::size_t size, Address const& from) {
    if (m_ending) return;  // read only to hear the peer's end
    m_lastActive = m_context->clock.now();
    if (isDatagram()) {
        Frame_reader reader(m_context->limits.messageBytes);
        reader.feed(bytes, size);
        readFrames(reader, from);
        return;
    }
    m_reader.feed(bytes, size);
    readFrames(m_reader, from);
}

void Server_connection::readFrames(Frame_reader& reader, Address const& from) {
    Frame frame;
    auto found = Frame_reader::Found::frame;
    bool tookOne = false;
    while (!m_ending && !pausesWhenFull() && (found = reader.next(frame)) == Frame_reader::Found::frame) {
        handle(frame, from);
        tookOne = true;
    }
    if (!isDatagram()) watchMessage(tookOne);
    if (m_paused) return;
    if (found == Frame_reader::Found::tooLong) refuse(frame.header, from, E_MALFORMED_MESSAGE);
    bool const nonsense = found == Frame_reader::Found::tooLong || found == Frame_reader::Found::tooShort;
    if (nonsense && !isDatagram()) {
        // Nobody knows where the next message begins.
        m_context->impossibleLength.write(
            "a connection is ended: its peer sent a message of an impossible length");
        endAfterReplies();
    }
}

void Server_connection::watchMessage(bool tookOne) {
    if (m_paused || m_ending || m_reader.pending() == 0) return m_unfinished.reset();
    if (m_unfinished && !tookOne) return;
    auto const limit = m_context->limits.messageLimit;
    m_unfinished = m_context->clock.after(limit, [weak = weak_from_this(), limit] {
        auto const self = weak.lock();
        if (!self || self->m_paused || self->m_ending) return;
        self->m_context->unfinished.write("a connection is ended: its peer sent no whole message in " +
                                          std::to_string(limit.count()) + " ms");
        self->endAfterReplies();
    });
}

void Server_connection::endAfterReplies() {
    ++counters().dropped;
    m_ending = true;
    proceed();
}

void Server_connection::handle(Frame const& frame, Address const& from) {
    Header const& header = frame.header;
    if (header.isMagicCookie()) return;
    std::uint8_t const error = check(header, m_context->offers);
    if (error != E_OK) return refuse(header, from, error);

    std::shared_ptr<Provided_service> const service = m_context->offers.at(header.service);
    std::size_t const bytes = frame.payload.bytes().size();
    auto const session = std::make_shared<Session>(
        m_context->loop, m_source, bytes,
        [loop = m_context->loop, weak = weak_from_this(), header, from](std::uint8_t code,
                                                                        Serialized_payload payload) {
            loop->post([weak, header, from, code, payload = std::move(payload)] {
                if (auto const connection = weak.lock()) connection->reply(header, from, code, payload);
            });
        },
        [weak = weak_from_this(), bytes] {
            if (auto const connection = weak.lock()) connection->sessionEnded(bytes);
        });
    ++m_calls;
    m_callBytes += bytes;
    auto reply = wantsAnswer(header) ? Session::replyOf(session) : nullptr;
    service->deliver(*indexOf(service->deployment(), header.method), std::move(reply), frame.payload,
                     session);
}

void Server_connection::refuse(Header const& request, Address const& to, std::uint8_t code) {
    if (wantsAnswer(request)) reply(request, to, code, {});
}

void Server_connection::reply(Header const& request, Address const& to, std::uint8_t code,
                              Serialized_payload const& payload) {
    if (payload.bytes().size() > m_context->limits.messageBytes) {
        m_context->longReply.write("a reply of " + std::to_string(payload.bytes().size()) +
                                   " bytes is too long for its carrier");
        return reply(request, to, E_NOT_OK, {});
    }
    m_link->send(encode(answerTo(request, code), payload.bytes()), to);
}

void Server_connection::notify(Header const& header, Address const& to, Serialized_payload const& payload) {
    m_link->send(encode(header, payload.bytes()), to);
}

bool Server_connection::reaches(Address const& address) const {
    return isDatagram() || (!m_ending && m_link->remote() == address);
}

void Server_connection::sessionEnded(std::size_t bytes) {
    --m_calls;
    m_callBytes -= bytes;
    m_lastActive = m_context->clock.now();
    readOn();
    proceed();
}

void Server_connection::readOn() {
    if (!m_paused || m_ending || pausesWhenFull()) return;
    m_paused = false;
    if (!isDatagram()) readFrames(m_reader, {});
    if (!m_paused) m_link->resume();
}

void Server_connection::proceed() {
    if (m_calls != 0 || !m_link->idle() || m_linger) return;
    if (!m_ending && m_context->open) return;
    m_ending = true;
    if (m_peerEnded || isDatagram()) return close();
    m_link->endSending();
    m_linger = m_context->clock.after(LINGER, [weak = weak_from_this()] {
        if (auto const self = weak.lock()) self->close();
    });
}

void Server_connection::peerEnded() {
    m_peerEnded = true;
    m_ending = true;
    if (m_linger) return close();
    proceed();
}

void Server_connection::broken(std::error_code const& reason) {
    if (reason == std::errc::no_buffer_space) {
        m_context->unread.write("a connection is ended: its peer leaves too much unread");
        ++counters().dropped;
    } else {
        m_context->brokenLink.write("a connection is broken: " + reason.message());
    }
    close();
}

void Server_connection::close() {
    m_link->close();
    if (m_source)
        for (auto const& [id, service] : m_context->offers) service->forget(*m_source);
    if (auto const closed = std::exchange(m_closed, nullptr)) closed();
}

}  // namespace eb::com::runtime::someip
