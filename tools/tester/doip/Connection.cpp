#include "tools/tester/doip/Connection.h"

#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>

namespace tester::doip {

namespace {

std::string textOf(asio::ip::tcp::socket const& socket) {
    asio::error_code gone;
    auto const remote = socket.remote_endpoint(gone);
    return gone ? "?" : remote.address().to_string() + ':' + std::to_string(remote.port());
}

std::string seconds(milliseconds time) {
    return millisecondsText(double(time.count()) / 1000) + " s";
}

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, Shared& shared)
    : m_shared(shared),
      m_socket(std::move(socket)),
      m_peer(textOf(m_socket)),
      m_reader(shared.store),
      m_nextWrite(shared.context),
      m_inactivity(shared.context) {}

void Connection::start() {
    asio::error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    tell(Happening::Kind::connection, {}, "connected");
    milliseconds const limit = m_shared.transport.initialInactivity;
    m_inactivity.set(limit, [this, limit] { close("no routing activation within " + seconds(limit)); });
    read();
}

void Connection::close(std::string const& why) {
    if (m_state == State::closed) return;
    auto const self = shared_from_this();
    m_state = State::closed;
    m_inactivity.cancel();
    m_nextWrite.cancel();
    m_dialogue.reset();
    asio::error_code ignored;
    m_socket.close(ignored);
    tell(Happening::Kind::connection, {}, "closed: " + why);
    m_shared.routing.remove(*this);
    m_shared.closed(self);
}

void Connection::finish() {
    m_state = State::ending;
    m_dialogue.reset();
    m_shared.routing.remove(*this);
    m_inactivity.set(m_shared.transport.initialInactivity, [this] { close("by the gateway"); });
    write();
}

void Connection::askWhetherAlive() {
    send(Type::aliveCheck, {}, "alive check request");
}

void Connection::read() {
    if (m_reading || m_state == State::closed) return;
    m_reading = true;
    m_socket.async_read_some(
        asio::buffer(m_buffer), [self = shared_from_this()](asio::error_code const& error, std::size_t size) {
            self->m_reading = false;
            if (error) return self->close(error == asio::error::eof ? "by the tester" : error.message());
            if (self->m_state == State::active) self->touch();
            self->m_unread = Bytes(self->m_buffer).first(size);
            self->digest();
        });
}

bool Connection::mayDigest() const {
    return !m_held && m_queuedBytes < m_shared.transport.queueMost;
}

void Connection::digest() {
    if (m_reading) return;
    while (m_state == State::waiting || m_state == State::active) {
        if (!mayDigest()) return;
        auto frame = m_reader.next(m_unread);
        if (!frame) break;
        take(std::move(*frame));
    }
    read();
}

void Connection::take(Frame frame) {
    Header const& header = frame.header;
    if (frame.refused || !header.is(Type::diagnostic)) {
        Message received(frame.front.begin(), frame.front.end());
        append(received, frame.payload);
        tell(Happening::Kind::received, received, typeName(header.type));
    }
    if (frame.refused) {
        send(Type::headerNack, {static_cast<unsigned char>(*frame.refused)}, name(*frame.refused));
        if (endsConnection(*frame.refused)) finish();
        return;
    }
    m_version = header.version;
    switch (static_cast<Type>(header.type)) {
        case Type::activation:
            return activate(frame);
        case Type::aliveCheck: {
            Message payload;
            append16(payload, m_shared.entity.address);
            return send(Type::aliveCheckAnswer, payload, "alive check response");
        }
        case Type::aliveCheckAnswer:
            if (m_state == State::active && read16(frame.payload, 0) == m_tester)
                m_shared.routing.alive(*this);
            return;
        default:
            return diagnose(frame);
    }
}

void Connection::activate(Frame const& frame) {
    std::uint16_t const tester = read16(frame.payload, 0);
    m_held = true;
    m_inactivity.cancel();  // it has come; an alive check may take longer
    m_shared.routing.request(*this, tester, frame.payload[2],
                             [weak = weak_from_this(), tester](Activation code) {
                                 auto const self = weak.lock();
                                 if (self && self->m_state != State::closed)
                                     self->answerActivation(tester, code);
                             });
}

void Connection::answerActivation(std::uint16_t tester, Activation code) {
    m_held = false;
    Message payload;
    append16(payload, tester);
    append16(payload, m_shared.entity.address);
    payload.push_back(static_cast<unsigned char>(code));
    append32(payload, 0);
    send(Type::activationAnswer, payload, hexNumber(tester) + ": " + name(code));
    if (code != Activation::activated) return finish();
    if (m_state == State::waiting) {
        m_state = State::active;
        m_tester = tester;
        m_dialogue = std::make_shared<Dialogue>(
            m_shared.context, m_shared.diagnostics,
            [this, tester](Outgoing outgoing) { respond(std::move(outgoing), tester); },
            [this] { tell(Happening::Kind::connection, {}, "default session: S3 is over"); });
    }
    touch();
    asio::post(m_shared.context, [self = shared_from_this()] { self->digest(); });
}

void Connection::diagnose(Frame const& frame) {
    std::uint16_t const source = read16(frame.payload, 0);
    std::uint16_t const target = read16(frame.payload, 2);
    Bytes const request = Bytes(frame.payload).subspan(ADDRESSES_SIZE);
    tell(Happening::Kind::request, request,
         hexNumber(source) + " to " + hexNumber(target) + ": " + describeRequest(request));
    if (m_state != State::active || source != m_tester) {
        refuseDiagnostic(frame, DiagnosticNack::invalidSource);
        return finish();
    }
    if (!m_shared.entity.isTarget(target)) return refuseDiagnostic(frame, DiagnosticNack::unknownTarget);
    if (request.size() > UDS_REQUEST_MOST) return refuseDiagnostic(frame, DiagnosticNack::tooLarge);
    Message ack;
    append16(ack, target);
    append16(ack, source);
    ack.push_back(0);
    enqueue(doip::frame(m_version, Type::diagnosticAck, ack), {});
    m_dialogue->request(request, target == m_shared.entity.functional);
}

void Connection::refuseDiagnostic(Frame const& frame, DiagnosticNack code) {
    Message nack;
    append16(nack, read16(frame.payload, 2));
    append16(nack, read16(frame.payload, 0));
    nack.push_back(static_cast<unsigned char>(code));
    send(Type::diagnosticNack, nack, name(code));
}

void Connection::respond(Outgoing outgoing, std::uint16_t tester) {
    Message payload;
    payload.reserve(ADDRESSES_SIZE + outgoing.bytes.size());
    append16(payload, m_shared.entity.address);
    append16(payload, tester);
    append(payload, outgoing.bytes);
    Happening happening(Happening::Kind::response, m_peer, outgoing.bytes, std::move(outgoing.note));
    enqueue(doip::frame(m_version, Type::diagnostic, payload),
            [this, happening = std::move(happening), leaving = std::move(outgoing.leaving)]() mutable {
                happening.milliseconds = leaving();
                m_shared.tell(std::move(happening));
            });
}

void Connection::send(Type type, Message const& payload, std::string const& meaning) {
    Message bytes = frame(m_version, type, payload);
    Happening happening(Happening::Kind::sent, m_peer, bytes, meaning);
    enqueue(std::move(bytes), [this, happening = std::move(happening)] { m_shared.tell(happening); });
}

void Connection::enqueue(Message frame, std::function<void()> leaving) {
    if (m_state == State::closed) return;
    m_queuedBytes += frame.size();
    m_queue.push_back({std::move(frame), std::move(leaving)});
    write();
}

void Connection::write() {
    if (m_writing || m_state == State::closed) return;
    if (m_queue.empty()) {
        asio::error_code ignored;
        if (m_state == State::ending) m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        return;
    }
    m_writing = true;
    auto const wait = m_wroteLast + m_shared.transport.spacing - std::chrono::steady_clock::now();
    auto const begin = [this] {
        if (m_queue.front().leaving) m_queue.front().leaving();
        asio::async_write(m_socket, asio::buffer(m_queue.front().frame),
                          [self = shared_from_this()](asio::error_code const& error, std::size_t) {
                              if (error) return self->close(error.message());
                              self->wrote();
                          });
    };
    if (wait > std::chrono::steady_clock::duration(0)) return m_nextWrite.set(wait, begin);
    begin();
}

void Connection::wrote() {
    if (m_state == State::closed) return;
    m_writing = false;
    m_wroteLast = std::chrono::steady_clock::now();
    m_queuedBytes -= m_queue.front().frame.size();
    m_queue.pop_front();
    if (m_state == State::active) touch();
    write();
    digest();
}

void Connection::touch() {
    milliseconds const limit = m_shared.transport.generalInactivity;
    m_inactivity.set(limit, [this, limit] { close("nothing came or went for " + seconds(limit)); });
}

void Connection::tell(Happening::Kind kind, Bytes bytes, std::string meaning) const {
    m_shared.tell(Happening(kind, m_peer, bytes, std::move(meaning)));
}

}  // namespace tester::doip
