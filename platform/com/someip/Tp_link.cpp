#include "platform/com/someip/Tp_link.h"

#include <algorithm>
#include <string>
#include <utility>

namespace eb::com::runtime::someip {

void Tp_link::start(std::weak_ptr<Link_user> user) {
    m_user = std::move(user);
    m_datagrams->start(weak_from_this());
}

void Tp_link::close() {
    forget();
    m_datagrams->close();
}

void Tp_link::forget() {
    m_closed = true;
    m_queues.clear();
    m_queued = 0;
    m_assembler.clear();
    m_silence.reset();
    m_pause.reset();
}

void Tp_link::send(std::vector<std::uint8_t> message, Address const& to) {
    if (m_closed) return;
    auto const found = m_queues.find(to);
    bool const fits = message.size() <= HEADER_BYTES + UNSEGMENTED_BYTES;
    if (fits && found == m_queues.end()) return m_datagrams->send(std::move(message), to);
    std::size_t const size = message.size();
    std::size_t const waiting = found == m_queues.end() ? 0 : found->second.bytes;
    // One message may always wait, so that the longest payload fits with its header.
    if ((waiting != 0 && waiting + size > m_queueBytes) ||
        (m_queued != 0 && m_queued + size > QUEUES * m_queueBytes)) {
        m_lost.write("a message of " + std::to_string(size) + " bytes to " +
                     (to.port != 0 ? to : remote()).text() + " is lost: too much waits to be sent");
        ++counters().lostSegmented;
        return;
    }
    Queue& queue = m_queues[to];
    queue.messages.push_back(std::move(message));
    queue.bytes += size;
    m_queued += size;
    sendSome();
}

void Tp_link::sendSome() {
    for (; m_credit != 0 && !m_queues.empty(); --m_credit) sendNext();
    if (m_credit == BURST || m_pause) return;
    m_pause = m_clock.after(PAUSE, [weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self || self->m_closed) return;
        self->m_pause.reset();
        self->m_credit = BURST;
        if (self->m_queues.empty()) return;
        self->sendSome();
        if (self->m_queues.empty()) self->drained();
    });
}

void Tp_link::sendNext() {
    auto found = m_queues.upper_bound(m_lastServed);
    if (found == m_queues.end()) found = m_queues.begin();
    Address const to = m_lastServed = found->first;
    Queue& queue = found->second;
    std::vector<std::uint8_t>& message = queue.messages.front();
    std::size_t const payload = message.size() - HEADER_BYTES;
    std::size_t const size = message.size();
    bool whole = true;
    if (payload <= UNSEGMENTED_BYTES) {
        m_datagrams->send(std::move(message), to);
    } else {
        std::size_t const left = payload - queue.sent;
        whole = left <= TP_SEGMENT_BYTES;
        m_datagrams->send(
            encode(Tp_segment{readHeader(message.data()), static_cast<std::uint32_t>(queue.sent), !whole,
                              message.data() + HEADER_BYTES + queue.sent, std::min(left, TP_SEGMENT_BYTES)}),
            to);
        queue.sent += TP_SEGMENT_BYTES;
    }
    if (!whole) return;
    queue.messages.pop_front();
    queue.bytes -= size;
    queue.sent = 0;
    m_queued -= size;
    if (queue.messages.empty()) m_queues.erase(found);
}

void Tp_link::received(std::uint8_t const* bytes, std::size_t size, Address const& from) {
    std::size_t passed = 0;  // what was taken out of the datagram, or handed on
    for (std::size_t at = 0; size - at >= HEADER_BYTES;) {
        std::uint32_t const length = readLength(bytes + at);
        if (length < LENGTH_OF_EMPTY) break;
        std::size_t const whole = std::size_t{length} + HEADER_BYTES - LENGTH_OF_EMPTY;
        bool const complete = whole <= size - at;
        if (isSegment(readHeader(bytes + at))) {
            if (at != passed) handOn(bytes + passed, at - passed, from);
            if (!complete) ++counters().lostSegmented;
            if (!complete || m_closed) return;
            assemble(bytes + at, whole, from);
            if (m_closed) return;
            passed = at + whole;
        }
        if (!complete) break;
        at += whole;
    }
    if (passed == 0 || passed != size) handOn(bytes + passed, size - passed, from);
}

void Tp_link::handOn(std::uint8_t const* bytes, std::size_t size, Address const& from) {
    if (auto const user = m_user.lock()) user->received(bytes, size, from);
}

void Tp_link::assemble(std::uint8_t const* message, std::size_t size, Address const& from) {
    auto const segment = readSegment(readHeader(message), message + HEADER_BYTES, size - HEADER_BYTES);
    if (!segment) {
        ++counters().lostSegmented;
        return;
    }
    auto const whole = m_assembler.take(*segment, from, m_clock.now());
    if (!m_silence) watchSilence();
    if (whole) handOn(whole->data(), whole->size(), from);
}

void Tp_link::watchSilence() {
    m_silence.reset();
    auto const next = m_assembler.dropSilent(m_clock.now());
    if (!next) return;
    m_silence = m_clock.after(*next - m_clock.now(), [weak = weak_from_this()] {
        if (auto const self = weak.lock()) self->watchSilence();
    });
}

void Tp_link::peerEnded() {
    if (auto const user = m_user.lock()) user->peerEnded();
}

void Tp_link::broken(std::error_code const& reason) {
    forget();
    if (auto const user = m_user.lock()) user->broken(reason);
}

void Tp_link::drained() {
    if (auto const user = m_user.lock()) user->drained();
}

}  // namespace eb::com::runtime::someip
