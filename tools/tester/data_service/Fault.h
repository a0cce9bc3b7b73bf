// Faults that the data service plays when told to.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tester {

/// One order to misbehave.
///
///     [at TIME] RECORD|all  slow TIME | silent | code N | result N | garbage HEX|nothing   [for TIME | times
///     N] [at TIME] notify      slow TIME | silent | twice | garbage HEX|nothing               [for TIME |
///     times N] [at TIME] service     gone [for TIME] | back | restart [at TIME] all|RECORD|notify  clear
///
/// A time is `3`, `3s`, `2.9s` or `2900ms`. `at` counts from the start of the service.
struct Fault {
    enum class Target : std::uint8_t { record, allRecords, notify, service };
    enum class Kind : std::uint8_t { slow, silent, code, result, garbage, twice, gone, back, restart, clear };

    std::string line;  ///< as it was given, for people
    std::chrono::milliseconds at{0};
    Target target = Target::allRecords;
    std::uint32_t record = 0;
    Kind kind = Kind::clear;
    std::chrono::milliseconds delay{0};
    std::uint32_t number = 0;
    std::vector<unsigned char> bytes;
    std::optional<std::chrono::milliseconds> lasting;
    std::optional<unsigned> times;
};

/// Throws std::invalid_argument that quotes the word and tells what may stand in its place.
Fault parseFault(std::string const& line);

/// A scenario file: a fault a line, `#` begins a comment. Throws std::invalid_argument with file and line.
std::vector<Fault> loadScenario(std::string const& path);

/// The faults that hold now. Any thread.
class Faults {
public:
    /// A later fault of the same target takes the place of an earlier one; `clear` takes it away.
    void begin(Fault const& fault, std::chrono::steady_clock::time_point now);

    /// The fault for a call of that record, or for a notification; counts it if it is limited to some times.
    /// One for the record itself goes before one for all.
    std::optional<Fault> ofRecord(std::uint32_t record, std::chrono::steady_clock::time_point now);
    std::optional<Fault> ofNotification(std::chrono::steady_clock::time_point now);

private:
    struct Active {
        Fault fault;
        std::chrono::steady_clock::time_point end;
        std::optional<unsigned> left;
    };
    void remove(Fault::Target target, std::uint32_t record);
    std::optional<Fault> take(Fault::Target target, std::uint32_t record,
                              std::chrono::steady_clock::time_point now);

    std::mutex m_mutex;
    std::list<Active> m_active;  // guarded by m_mutex
};

}  // namespace tester
