// One method call with its time-out and its second attempt.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include <eb/com/runtime/Client_port.h>

namespace tester {

using std::chrono::milliseconds;

enum class Outcome : std::uint8_t {
    ok,
    serviceError,  ///< the interface's own error with its UDS code
    returnCode,    ///< any other return code than E_OK
    undecodable,   ///< answered, but the payload isn't what the interface says
    timeOut,
    cancelled,  ///< given up by the runtime
    transport,
    notAvailable,  ///< nobody listens at the endpoint
    notFound,      ///< no instance is known, so nothing could be sent
    interrupted,   ///< by the user
};

/// Whether the service answered, whatever it was.
constexpr bool isAnswer(Outcome outcome) noexcept {
    return outcome == Outcome::ok || outcome == Outcome::serviceError || outcome == Outcome::returnCode ||
           outcome == Outcome::undecodable;
}

/// Whether a call that ended so may be answered when it is made again at once.
constexpr bool isWorthRepeating(Outcome outcome) noexcept {
    return outcome == Outcome::timeOut || outcome == Outcome::transport || outcome == Outcome::cancelled;
}

/// The name of an outcome as it stands in JSON: "time_out".
char const* name(Outcome outcome);

/// How long to wait for an answer, and what to do without one.
struct Patience {
    milliseconds timeout{2000};
    /// Between a call that got no answer and its repetition, so that what disturbed the first one is over: an
    /// answer to another identifier, or a service that just starts.
    milliseconds retryPause{250};
    unsigned attempts = 2;
};

/// With routines: the service gives Java 60 s, and then answers by itself. A routine is not asked twice: each
/// request counts.
inline constexpr Patience ROUTINE_PATIENCE{milliseconds(65'000), milliseconds(250), 1};

/// What came of a call, over all attempts.
struct Exchange {
    Outcome outcome = Outcome::ok;  ///< `ok` stands for any answer here, whatever its return code
    unsigned char returnCode = 0;
    std::vector<unsigned char> payload;
    std::string endpoint;
    double elapsedMs = 0;  ///< of the attempt that was answered, or of the last
    unsigned attempts = 0;
    std::vector<std::string> failures;  ///< one line for each attempt that got no answer
};

/// Waits without a purpose of its own; a request for stop ends it.
void pause(milliseconds length, std::stop_token const& stop);

/// Told about every quarter of a second while a call waits, on the thread that made the call.
using Waiting = std::function<void(milliseconds soFar, unsigned attempt)>;

/// Calls a method and waits for its answer on the caller's thread. A call that got no answer is repeated
/// after a pause; one that nobody listens to isn't. A request for stop ends it at once with `interrupted`.
/// `request` has the request's bytes; without any it is what data identifiers and routines take, an empty
/// map.
Exchange callMethod(eb::com::runtime::Client_port& port, unsigned short method, Patience const& patience,
                    std::stop_token const& stop, Waiting const& waiting = {},
                    std::optional<std::vector<unsigned char>> const& request = {});

}  // namespace tester
