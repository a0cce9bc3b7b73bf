// What the gateway has done and how fast it was.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tester::doip {

/// Lengths of time in milliseconds. Keeps the last ones up to a limit.
class Times {
public:
    static constexpr std::size_t LIMIT = 65'536;

    struct Summary {
        double least = 0;
        double median = 0;
        double p99 = 0;
        double most = 0;
    };

    Times() { m_kept.reserve(LIMIT); }

    /// `limit` is what the time should have been.
    void add(double milliseconds, double limit) {
        if (m_kept.size() < LIMIT)
            m_kept.push_back(milliseconds);
        else
            m_kept[m_count % LIMIT] = milliseconds;
        ++m_count;
        if (milliseconds > limit) ++m_late;
    }

    std::uint64_t count() const noexcept { return m_count; }
    std::uint64_t late() const noexcept { return m_late; }

    /// Zeros if there was none.
    Summary summary() const {
        if (m_kept.empty()) return {};
        std::vector<double> sorted = m_kept;
        std::sort(sorted.begin(), sorted.end());
        auto const rank = [&](std::size_t percent) { return sorted[(sorted.size() - 1) * percent / 100]; };
        return {sorted.front(), rank(50), rank(99), sorted.back()};
    }

private:
    std::vector<double> m_kept;
    std::uint64_t m_count = 0;
    std::uint64_t m_late = 0;
};

/// Of the network thread; of others once that has ended.
struct Statistics {
    std::uint64_t connections = 0;
    std::uint64_t requests = 0;
    std::uint64_t positive = 0;
    std::uint64_t negative = 0;
    std::uint64_t pending = 0;     ///< responses 0x78
    std::uint64_t suppressed = 0;  ///< requests that got no response, as the standard wants it
    Times p2;                      ///< from a request to the first response, 0x78 or not, as it leaves
    Times p2Star;                  ///< from a 0x78 to the next response
};

}  // namespace tester::doip
