#include "tools/tester/doip/Uds.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "tools/tester/Codes.h"

namespace tester::doip {

namespace {

constexpr std::uint8_t POSITIVE = 0x40;  // added to the service
constexpr std::uint8_t SUPPRESS = 0x80;  // in the subfunction byte
constexpr std::uint8_t DTC_FORMAT_ISO_14229 = 0x01;

constexpr std::uint8_t SESSION_CONTROL = 0x10;
constexpr std::uint8_t CLEAR = 0x14;
constexpr std::uint8_t READ_CODES = 0x19;
constexpr std::uint8_t READ_IDENTIFIERS = 0x22;
constexpr std::uint8_t ROUTINE_CONTROL = 0x31;
constexpr std::uint8_t TESTER_PRESENT = 0x3E;

constexpr std::uint8_t COUNT_BY_MASK = 0x01;
constexpr std::uint8_t LIST_BY_MASK = 0x02;
constexpr std::uint8_t LIST_SUPPORTED = 0x0A;
constexpr std::uint8_t REQUEST_RESULTS = 0x03;

struct Subfunction {
    std::uint8_t service;
    std::uint8_t number;
    char const* name;
    std::size_t length;  ///< of the request
    bool extendedOnly = false;
    unsigned short method = 0;  ///< a routine's
};

constexpr Subfunction SUBFUNCTIONS[] = {
    {SESSION_CONTROL, 0x01, "defaultSession", 2},
    {SESSION_CONTROL, 0x03, "extendedDiagnosticSession", 2},
    {READ_CODES, COUNT_BY_MASK, "reportNumberOfDTCByStatusMask", 3},
    {READ_CODES, LIST_BY_MASK, "reportDTCByStatusMask", 3},
    {READ_CODES, LIST_SUPPORTED, "reportSupportedDTC", 2},
    {ROUTINE_CONTROL, 0x01, "startRoutine", 4, true, METHOD_START},
    {ROUTINE_CONTROL, 0x02, "stopRoutine", 4, true, METHOD_STOP},
    {ROUTINE_CONTROL, REQUEST_RESULTS, "requestRoutineResults", 4, false, METHOD_REQUEST_RESULTS},
    {TESTER_PRESENT, 0x00, "zeroSubFunction", 2},
};

struct Service {
    std::uint8_t number;
    char const* name;
    bool hasSubfunction;
};

constexpr Service SERVICES[] = {
    {SESSION_CONTROL, "DiagnosticSessionControl", true},
    {CLEAR, "ClearDiagnosticInformation", false},
    {READ_CODES, "ReadDTCInformation", true},
    {READ_IDENTIFIERS, "ReadDataByIdentifier", false},
    {ROUTINE_CONTROL, "RoutineControl", true},
    {TESTER_PRESENT, "TesterPresent", true},
};

Service const* serviceOf(std::uint8_t number) {
    auto const found = std::find_if(std::begin(SERVICES), std::end(SERVICES),
                                    [number](Service const& each) { return each.number == number; });
    return found == std::end(SERVICES) ? nullptr : &*found;
}

/// Null as well if the request ends before its subfunction.
Subfunction const* subfunctionOf(Bytes request) {
    if (request.size() < 2) return nullptr;
    auto const found =
        std::find_if(std::begin(SUBFUNCTIONS), std::end(SUBFUNCTIONS), [&](Subfunction const& each) {
            return each.service == request[0] && each.number == (request[1] & ~SUPPRESS);
        });
    return found == std::end(SUBFUNCTIONS) ? nullptr : &*found;
}

Plan at(Response response) {
    Plan plan;
    plan.response = std::move(response);
    return plan;
}

Plan refuse(Bytes request, Nrc code, std::string note) {
    return at(negative(request[0], code, std::move(note)));
}

Plan wrongLength(Bytes request, std::string const& expected) {
    return refuse(request, Nrc::incorrectLength,
                  expected + " expected, received " + counted(request.size(), "byte"));
}

/// A positive response up to what the request says as well.
Message positive(Bytes request, std::size_t repeated) {
    Message bytes(request.begin(), request.begin() + std::ptrdiff_t(1 + repeated));
    bytes[0] |= POSITIVE;
    return bytes;
}

void append24(Message& message, std::uint32_t number) {
    message.push_back(static_cast<unsigned char>(number >> 16U));
    append16(message, static_cast<std::uint16_t>(number));
}

Target const* findTarget(Catalogue const& catalogue, std::uint16_t number) {
    auto const found = std::find_if(catalogue.begin(), catalogue.end(),
                                    [number](Target const& each) { return each.number == number; });
    return found == catalogue.end() ? nullptr : &*found;
}

/// The code for a call that didn't end well.
std::uint8_t codeOf(Report const& report) {
    // These two would make the tester wait for another response, or take the refusal for none.
    auto const usable = [](std::uint8_t code) {
        return code != 0 && code != static_cast<std::uint8_t>(Nrc::responsePending);
    };
    Nrc code = Nrc::generalReject;
    switch (report.outcome) {
        case Outcome::serviceError:
            if (usable(report.exchange.payload[0])) return report.exchange.payload[0];
            break;
        case Outcome::timeOut:
            code = Nrc::noResponseFromSubnetComponent;
            break;
        case Outcome::notFound:
        case Outcome::notAvailable:
        case Outcome::transport:
        case Outcome::cancelled:
        case Outcome::interrupted:
            code = Nrc::conditionsNotCorrect;
            break;
        default:
            break;
    }
    return static_cast<std::uint8_t>(code);
}

/// The reads of one request, one after another, each in the lane of its identifier.
class Reading {
public:
    Reading(Vehicle& vehicle, std::vector<Target const*> identifiers)
        : m_vehicle(vehicle), m_identifiers(std::move(identifiers)), m_lane(laneOf(*m_identifiers.front())) {}

    std::size_t lane() const noexcept { return m_lane; }

    Progress goOn() {
        while (m_next < m_identifiers.size()) {
            Target const& identifier = *m_identifiers[m_next];
            if (std::size_t const lane = laneOf(identifier); lane != m_lane) return m_lane = lane;
            bool const lastAttempt = m_lane == Uds::SILENT_IDENTIFIERS;
            Report const report = lastAttempt ? m_vehicle.readSilent(identifier) : m_vehicle.read(identifier);
            if (!lastAttempt && m_vehicle.isSilent(identifier)) continue;
            if (report.outcome != Outcome::ok)
                return negative(READ_IDENTIFIERS, codeOf(report), identifier.id + ": " + report.detail);
            if (m_response.bytes.size() + 2 + report.exchange.payload.size() > UDS_RESPONSE_MOST)
                return negative(READ_IDENTIFIERS, Nrc::responseTooLong,
                                "more than " + std::to_string(UDS_RESPONSE_MOST) + " bytes; ask for less");
            append16(m_response.bytes, static_cast<std::uint16_t>(identifier.number));
            append(m_response.bytes, report.exchange.payload);
            ++m_next;
        }
        return m_response;
    }

private:
    std::size_t laneOf(Target const& identifier) const {
        return m_vehicle.isSilent(identifier) ? Uds::SILENT_IDENTIFIERS : Uds::IDENTIFIERS;
    }

    Vehicle& m_vehicle;
    std::vector<Target const*> const m_identifiers;
    std::size_t m_lane;  // in which it goes on
    std::size_t m_next = 0;
    Response m_response{{READ_IDENTIFIERS + POSITIVE}, {}};
};

Response controlled(Vehicle& vehicle, Target const& routine, unsigned short method, Message positive) {
    Report const report = vehicle.control(routine, method);
    if (report.outcome != Outcome::ok)
        return negative(ROUTINE_CONTROL, codeOf(report), routine.id + ": " + report.detail);
    append(positive, report.exchange.payload);
    std::string note = valueText(report);
    if (!report.detail.empty()) note += "; " + report.detail;
    return {std::move(positive), method == METHOD_REQUEST_RESULTS ? note : std::string()};
}

}  // namespace

Response negative(std::uint8_t service, std::uint8_t code, std::string note) {
    std::string text = hexByte(code) + ' ' + negativeResponseName(code);
    if (!note.empty()) text += ": " + note;
    return {{0x7F, service, code}, std::move(text)};
}

std::string describeRequest(Bytes request) {
    Service const* service = serviceOf(request[0]);
    if (!service) return "service " + hexByte(request[0]);
    std::string text = service->name;
    Subfunction const* subfunction = service->hasSubfunction ? subfunctionOf(request) : nullptr;
    if (subfunction) text += std::string(" ") + subfunction->name;
    if (request[0] == ROUTINE_CONTROL && request.size() >= 4) text += ' ' + hexNumber(read16(request, 2));
    if (request[0] == CLEAR && request.size() == 4)
        text += ' ' + hexNumber(std::uint32_t{request[1]} << 16U | read16(request, 2));
    if (request[0] == READ_IDENTIFIERS) {
        for (std::size_t at = 1; at + 1 < request.size() && at < 2 * Uds::IDENTIFIERS_MOST; at += 2)
            text += ' ' + hexNumber(read16(request, at));
    }
    return text;
}

Plan Uds::plan(Bytes request, UdsSession session) const {
    Service const* const service = serviceOf(request[0]);
    if (!service) return refuse(request, Nrc::serviceNotSupported, {});
    if (service->hasSubfunction) {
        if (request.size() < 2) return wrongLength(request, "2 bytes at least");
        Subfunction const* const subfunction = subfunctionOf(request);
        if (!subfunction) return refuse(request, Nrc::subFunctionNotSupported, {});
        if (subfunction->extendedOnly && session != UdsSession::extended && !m_anySession)
            return refuse(request, Nrc::subFunctionNotSupportedInActiveSession,
                          "the extended session has it, 10 03");
        if (request.size() < subfunction->length)
            return wrongLength(request, counted(subfunction->length, "byte"));
    }
    Plan plan;
    switch (request[0]) {
        case SESSION_CONTROL:
            plan = changeSession(request);
            break;
        case CLEAR:
            return clearTroubleCodes(request);
        case READ_CODES:
            plan = readTroubleCodes(request);
            break;
        case READ_IDENTIFIERS:
            return readIdentifiers(request);
        case ROUTINE_CONTROL:
            plan = controlRoutine(request);
            break;
        default:  // TesterPresent
            plan = request.size() == 2 ? at({positive(request, 1), {}}) : wrongLength(request, "2 bytes");
            break;
    }
    plan.suppressPositive = (request[1] & SUPPRESS) != 0;
    if (plan.response.isPositive()) plan.response.bytes[1] &= static_cast<unsigned char>(~SUPPRESS);
    return plan;
}

Plan Uds::changeSession(Bytes request) const {
    constexpr int P2_STAR_UNIT = 10;  // milliseconds
    if (request.size() != 2) return wrongLength(request, "2 bytes");
    Message bytes = positive(request, 1);
    append16(bytes, static_cast<std::uint16_t>(m_timing.p2.count()));
    append16(bytes, static_cast<std::uint16_t>(m_timing.p2Star.count() / P2_STAR_UNIT));
    Plan plan = at({std::move(bytes), subfunctionOf(request)->name});
    plan.session = static_cast<UdsSession>(request[1] & ~SUPPRESS);
    return plan;
}

Plan Uds::clearTroubleCodes(Bytes request) const {
    if (request.size() != 4) return wrongLength(request, "4 bytes");
    std::uint32_t const group = std::uint32_t{request[1]} << 16U | read16(request, 2);
    if (!m_vehicle.troubleCodes().clear(group))
        return refuse(request, Nrc::requestOutOfRange,
                      hexNumber(group) + " is neither a trouble code nor all of them, 0xFFFFFF");
    return at({positive(request, 0), {}});
}

Plan Uds::readTroubleCodes(Bytes request) const {
    Subfunction const& subfunction = *subfunctionOf(request);
    if (request.size() != subfunction.length)
        return wrongLength(request, counted(subfunction.length, "byte"));
    TroubleCodes const& codes = m_vehicle.troubleCodes();
    auto const list = subfunction.number == LIST_SUPPORTED ? codes.all() : codes.matching(request[2]);
    Message bytes = positive(request, 1);
    bytes.push_back(TroubleCodes::AVAILABLE);
    if (subfunction.number == COUNT_BY_MASK) {
        bytes.push_back(DTC_FORMAT_ISO_14229);
        append16(bytes, static_cast<std::uint16_t>(list.size()));
    } else {
        for (auto const& each : list) {
            append24(bytes, each.code);
            bytes.push_back(each.status);
        }
    }
    return at({std::move(bytes), counted(list.size(), "trouble code")});
}

Plan Uds::readIdentifiers(Bytes request) const {
    std::size_t const count = (request.size() - 1) / 2;
    if (count == 0 || request.size() % 2 == 0)
        return wrongLength(request, "1 byte and 2 for each identifier");
    if (count > IDENTIFIERS_MOST)
        return wrongLength(request, std::to_string(IDENTIFIERS_MOST) + " identifiers at most");
    std::vector<Target const*> identifiers;
    for (std::size_t at = 1; at < request.size(); at += 2) {
        if (auto const* target = findTarget(dataIdentifiers(), read16(request, at)))
            identifiers.push_back(target);
    }
    if (identifiers.empty()) return refuse(request, Nrc::requestOutOfRange, "no such data identifier");
    Plan plan;
    auto const reading = std::make_shared<Reading>(m_vehicle, std::move(identifiers));
    plan.lane = reading->lane();
    plan.work = [reading] { return reading->goOn(); };
    return plan;
}

Plan Uds::controlRoutine(Bytes request) const {
    Subfunction const& subfunction = *subfunctionOf(request);
    Target const* const routine = findTarget(routines(), read16(request, 2));
    if (!routine) return refuse(request, Nrc::requestOutOfRange, "no such routine");
    if (request.size() != subfunction.length)
        return wrongLength(request, counted(subfunction.length, "byte") + ", as it takes no option,");
    if (subfunction.method != METHOD_START && !m_vehicle.wasStarted(*routine))
        return refuse(request, Nrc::requestSequenceError,
                      routine->id + " wasn't started through this gateway");
    Plan plan;
    plan.lane = FIRST_ROUTINE + static_cast<std::size_t>(std::distance(&*routines().begin(), routine));
    Message bytes = positive(request, 3);
    bytes[1] &= static_cast<unsigned char>(~SUPPRESS);
    plan.work = [&vehicle = m_vehicle, routine, method = subfunction.method, bytes = std::move(bytes)] {
        return controlled(vehicle, *routine, method, bytes);
    };
    return plan;
}

}  // namespace tester::doip
