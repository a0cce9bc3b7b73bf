#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

#include "platform/com/discovery/Sd_search.h"

namespace eb::com::runtime {

/// Who else offers an instance that was found: another vehicle with the same numbers, as a rule. Their offers
/// are remembered as long as they hold, so that one of them may take the place of the one that is used.
///
/// Bounded: while MOST of them are known, others aren't. One thread.
class Sd_rivals {
public:
    using Time = std::chrono::milliseconds;
    static constexpr std::size_t MOST = 8;

    void offered(Sd_found const& offer, Time now);
    void remove(Address const& peer) { m_known.erase(peer); }

    std::map<Address, Sd_found> const& known(Time now);
    /// Takes out the offer from that host, or, if it has none or none is named, the first.
    std::optional<Sd_found> take(std::optional<std::uint32_t> host, Time now);
    bool hasOffersOf(std::uint32_t host, Time now);

private:
    void forgetExpired(Time now);

    std::map<Address, Sd_found> m_known;  // by peer
};

}  // namespace eb::com::runtime
