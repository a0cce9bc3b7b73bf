#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Peer_line.h"
#include "platform/com/someip/Network.h"
#include "platform/com/someip/Tp_assembler.h"

namespace eb::com::runtime::someip {

/// A datagram link whose messages may be longer than a datagram: it sends what is longer than
/// UNSEGMENTED_BYTES in segments, and puts together what it receives in segments. Everything else passes
/// through as it is.
///
/// Nobody acknowledges segments, so they are paced: BURST of them in each PAUSE, which is as fast as Ethernet
/// of 100 Mbit/s, and gives a reader with the usual receive buffer some 10 ms to come. Peers take turns; to
/// one peer messages leave in their order, so a short one waits behind a long one to the same address, and no
/// other does. A message is lost, told in the log and counted, when more than limits.sendQueueBytes would
/// wait for its peer, or QUEUES times as much for all.
///
/// Stands between a datagram link, which it owns, and its own owner and user. io thread.
class Tp_link : public Link, public Link_user, public std::enable_shared_from_this<Tp_link> {
public:
    static constexpr std::size_t BURST = 8;
    static constexpr std::chrono::milliseconds PAUSE{1};
    static constexpr std::size_t QUEUES = 4;

    Tp_link(std::shared_ptr<Link> datagrams, Clock& clock, Limits const& limits)
        : m_datagrams(std::move(datagrams)),
          m_clock(clock),
          m_queueBytes(limits.sendQueueBytes),
          m_assembler(limits.messageBytes, [this](std::string const& text) { m_dropped.write(text); }),
          m_lost(clock, ara::log::LogLevel::kWarn),
          m_dropped(clock, ara::log::LogLevel::kDebug) {}

    void start(std::weak_ptr<Link_user> user) override;
    /// One whole message.
    void send(std::vector<std::uint8_t> message, Address const& to) override;
    bool idle() const override { return m_queues.empty() && m_datagrams->idle(); }
    void pause() override { m_datagrams->pause(); }
    void resume() override { m_datagrams->resume(); }
    void endSending() override { m_datagrams->endSending(); }
    void close() override;
    Address local() const override { return m_datagrams->local(); }
    Address remote() const override { return m_datagrams->remote(); }

private:
    struct Queue {
        std::deque<std::vector<std::uint8_t>> messages;
        std::size_t bytes = 0;  // of them
        std::size_t sent = 0;   // of the first one's payload
    };

    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override;
    void peerEnded() override;
    void broken(std::error_code const& reason) override;
    void drained() override;

    void handOn(std::uint8_t const* bytes, std::size_t size, Address const& from);
    void assemble(std::uint8_t const* message, std::size_t size, Address const& from);
    void watchSilence();
    void sendSome();
    void sendNext();
    void forget();

    std::shared_ptr<Link> const m_datagrams;
    Clock& m_clock;
    std::size_t const m_queueBytes;
    std::weak_ptr<Link_user> m_user;
    Tp_assembler m_assembler;
    Clock::Timer m_silence;             // while something is put together
    std::map<Address, Queue> m_queues;  // none is empty
    std::size_t m_queued = 0;           // bytes of all
    Address m_lastServed;
    std::size_t m_credit = BURST;  // of this pause
    Clock::Timer m_pause;          // while some credit is used
    bool m_closed = false;
    Peer_line m_lost;     // instead of sent
    Peer_line m_dropped;  // of those that are put together
};

}  // namespace eb::com::runtime::someip
