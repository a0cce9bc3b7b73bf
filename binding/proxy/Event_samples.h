#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include <ac/com/cpp_binding/proxy/Event_base.h>

#include "binding/incident/Records.h"
#include "binding/proxy/Event_cache.h"

namespace ac::com::cpp_binding::proxy {

/// The untyped half of an event: the samples that came, numbered from 1. It keeps as many of the newest as
/// the largest cache among its subscribers holds. Without a subscriber the newest one stays, for the next.
///
/// Shared by all proxies of the instance, and kept while there is none. Samples arrive on a runtime thread;
/// any thread may take them.
class Event_samples : public Event_base {
public:
    log::Instance_record const& record() const noexcept { return m_record; }

    /// How many samples have come so far.
    std::uint64_t count() const noexcept { return m_count.load(std::memory_order_acquire); }

    /// The position from which a new subscriber goes on: before the newest sample if one is held, so that he
    /// hears of it, else behind all.
    std::uint64_t position_for_latecomer() const;

    /// The newest samples behind `position`, at most `limit`, oldest first. Moves the position behind them.
    std::vector<Sample> take(std::uint64_t& position, std::size_t limit) const;

    /// Counts subscribers. From `join` to the last `leave` at least as many samples are kept as a cache
    /// holds; these are one step, so that the leave of another can't come in between.
    void join(std::size_t cache_size);
    void leave();

    /// The same for a subscriber whose cache changes.
    void make_room(std::size_t cache_size);

    /// A proxy comes, with its port. The event moves there unless another proxy relies on the port that the
    /// event has: the instance may have been lost and found again since then.
    void enter(std::shared_ptr<eb::com::runtime::Client_port> const& port);
    /// It was aborted, so it doesn't rely on the event's port any more. Its subscription stays.
    void stop_relying() noexcept { m_relying.fetch_sub(1); }
    /// It goes. With the last one the event lets go of the port; its samples stay.
    void exit();

protected:
    Event_samples(unsigned short event_id, eb::com::runtime::Service_handle const& info,
                  std::shared_ptr<eb::com::runtime::Client_port> const& port);

    /// Reads a sample; throws if the bytes aren't one.
    virtual Sample read(std::vector<unsigned char> const& bytes) const = 0;

private:
    bool has_subscriber() const;
    void event_updated(eb::com::runtime::Serialized_payload payload) final;

    log::Instance_record const m_record;
    mutable std::mutex m_mutex;
    std::deque<Sample> m_samples;           // guarded by m_mutex; numbers up to m_count, oldest first
    std::size_t m_room = 1;                 // guarded by m_mutex
    std::size_t m_subscribers = 0;          // guarded by m_mutex
    std::atomic<std::uint64_t> m_count{0};  // written with m_mutex held
    std::mutex m_port_mutex;                // held while the event moves to another port
    std::shared_ptr<eb::com::runtime::Client_port> m_present;  // guarded by m_port_mutex
    unsigned m_proxies = 0;                                    // guarded by m_port_mutex
    std::atomic<unsigned> m_relying{0};                        // raised with m_port_mutex held
};

}  // namespace ac::com::cpp_binding::proxy
