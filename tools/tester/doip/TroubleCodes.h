// What the gateway remembers of the trouble codes.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

namespace tester::doip {

/// One code with its status byte.
struct TroubleCode {
    std::uint32_t code;  ///< three bytes
    std::uint8_t status;
};

/// The status bytes of the trouble codes by ISO 14229-1, annex D.2, made of what the monitors report. A code
/// is confirmed by its first failure, and nothing ages. Lives as long as the gateway. Any thread.
class TroubleCodes {
public:
    static constexpr std::uint8_t TEST_FAILED = 0x01;
    static constexpr std::uint8_t CONFIRMED = 0x08;
    static constexpr std::uint8_t NOT_COMPLETED_SINCE_CLEAR = 0x10;
    static constexpr std::uint8_t FAILED_SINCE_CLEAR = 0x20;
    /// The bits that are kept. Nobody tells of operation cycles, and there is no warning lamp: the others
    /// would be guesses.
    static constexpr std::uint8_t AVAILABLE =
        TEST_FAILED | CONFIRMED | NOT_COMPLETED_SINCE_CLEAR | FAILED_SINCE_CLEAR;
    static constexpr std::uint32_t ALL_GROUPS = 0xFFFFFF;

    explicit TroubleCodes(std::vector<std::uint32_t> const& codes) {
        for (auto const code : codes) m_status[code] = NOT_COMPLETED_SINCE_CLEAR;
    }

    /// A monitor has tested. Codes that aren't known are left out.
    void report(std::uint32_t code, bool failed);
    /// Forgets one code, or all. False if there is no such code.
    bool clear(std::uint32_t code);
    /// All codes, in ascending order.
    std::vector<TroubleCode> all() const;
    /// Those with one of the mask's bits set, of the bits that are kept.
    std::vector<TroubleCode> matching(std::uint8_t mask) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::uint32_t, std::uint8_t> m_status;  // guarded by m_mutex
};

}  // namespace tester::doip
