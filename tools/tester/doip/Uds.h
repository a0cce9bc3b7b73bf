// The diagnostic services of ISO 14229-1: what a request comes to.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "tools/tester/doip/Protocol.h"
#include "tools/tester/doip/Vehicle.h"

namespace tester::doip {

enum class UdsSession : std::uint8_t { standard = 0x01, extended = 0x03 };

/// Negative response codes that the gateway gives of its own accord (ISO 14229-1, annex A.1).
enum class Nrc : std::uint8_t {
    generalReject = 0x10,
    serviceNotSupported = 0x11,
    subFunctionNotSupported = 0x12,
    incorrectLength = 0x13,
    responseTooLong = 0x14,
    busyRepeatRequest = 0x21,
    conditionsNotCorrect = 0x22,
    requestSequenceError = 0x24,
    noResponseFromSubnetComponent = 0x25,
    requestOutOfRange = 0x31,
    responsePending = 0x78,
    subFunctionNotSupportedInActiveSession = 0x7E,
};

struct UdsTiming {
    milliseconds p2{50};
    milliseconds p2Star{5'000};
    milliseconds s3{5'000};
};

struct Response {
    Message bytes;
    std::string note;  ///< for people: what the bytes mean, or why the answer is negative

    bool isPositive() const noexcept { return !bytes.empty() && bytes[0] != 0x7F; }
    /// Of a negative response.
    std::uint8_t code() const noexcept { return bytes.size() == 3 ? bytes[2] : 0; }
};

/// "ReadDataByIdentifier 0xB047": a request for people, however short it is.
std::string describeRequest(Bytes request);

Response negative(std::uint8_t service, std::uint8_t code, std::string note);
inline Response negative(std::uint8_t service, Nrc code, std::string note) {
    return negative(service, static_cast<std::uint8_t>(code), std::move(note));
}

/// What a piece of work came to: the response, or the lane in which the work is to be called again.
using Progress = std::variant<Response, std::size_t>;

/// What a request comes to: a response at once, or work that waits for the vehicle.
struct Plan {
    Response response;               ///< without work
    std::function<Progress()> work;  ///< must not run on the network thread
    std::size_t lane = 0;            ///< the work's first
    bool suppressPositive = false;
    std::optional<UdsSession> session;  ///< to be entered as the positive response leaves
};

/// Judges requests in the order of the standard's figures: service, length, subfunction, session, and then
/// what the service itself looks at. The vehicle has to outlive it and its plans. Any thread.
class Uds {
public:
    /// Lanes that the plans name: one for all data identifiers, one for those of them that gave no answer the
    /// last time, so that they don't delay the others, and one for each routine.
    static std::size_t lanes() { return FIRST_ROUTINE + routines().size(); }
    static constexpr std::size_t IDENTIFIERS = 0;
    static constexpr std::size_t SILENT_IDENTIFIERS = 1;
    static constexpr std::size_t FIRST_ROUTINE = 2;
    /// Identifiers that one request may ask for.
    static constexpr std::size_t IDENTIFIERS_MOST = 32;

    /// With `anySession` routines are started and stopped in the default session as well.
    Uds(Vehicle& vehicle, UdsTiming timing, bool anySession)
        : m_vehicle(vehicle), m_timing(timing), m_anySession(anySession) {}

    /// `request` has one byte at least.
    Plan plan(Bytes request, UdsSession session) const;

private:
    Plan changeSession(Bytes request) const;
    Plan clearTroubleCodes(Bytes request) const;
    Plan readTroubleCodes(Bytes request) const;
    Plan readIdentifiers(Bytes request) const;
    Plan controlRoutine(Bytes request) const;

    Vehicle& m_vehicle;
    UdsTiming const m_timing;
    bool const m_anySession;
};

}  // namespace tester::doip
