#include "tools/tester/Codes.h"

#include <algorithm>
#include <iterator>

#include <ac/dm/types/InitMonitorReasonType.h>
#include <ac/dm/types/MonitorActionType.h>

namespace tester {

namespace {

struct Code {
    unsigned char value;
    char const* text;
};

constexpr Code RETURN_CODES[] = {
    {0x00, "E_OK: no error"},
    {0x01, "E_NOT_OK: an unspecified error"},
    {0x02, "E_UNKNOWN_SERVICE: the service id is unknown"},
    {0x03, "E_UNKNOWN_METHOD: the service is known, the method id is not"},
    {0x04, "E_NOT_READY: service and method are known, but the application isn't running"},
    {0x05, "E_NOT_REACHABLE: the system that runs the service can't be reached"},
    {0x06, "E_TIMEOUT: a time-out on the service's side"},
    {0x07, "E_WRONG_PROTOCOL_VERSION: the SOME/IP protocol version isn't supported"},
    {0x08, "E_WRONG_INTERFACE_VERSION: the interface version doesn't match"},
    {0x09, "E_MALFORMED_MESSAGE: the payload couldn't be deserialized"},
    {0x0A, "E_WRONG_MESSAGE_TYPE: an unexpected message type"},
    {0x0B, "E_E2E_REPEATED: a repeated end-to-end counter"},
    {0x0C, "E_E2E_WRONG_SEQUENCE: a wrong end-to-end sequence"},
    {0x0D, "E_E2E: an end-to-end error"},
    {0x0E, "E_E2E_NOT_AVAILABLE: end-to-end protection isn't available"},
    {0x0F, "E_E2E_NO_NEW_DATA: no new end-to-end data"},
    {0x80, "the service couldn't deserialize the request"},
};

// ISO 14229-1, annex A.1.
constexpr Code NEGATIVE_RESPONSES[] = {
    {0x00, "positiveResponse"},
    {0x10, "generalReject"},
    {0x11, "serviceNotSupported"},
    {0x12, "subFunctionNotSupported"},
    {0x13, "incorrectMessageLengthOrInvalidFormat"},
    {0x14, "responseTooLong"},
    {0x21, "busyRepeatRequest"},
    {0x22, "conditionsNotCorrect"},
    {0x24, "requestSequenceError"},
    {0x25, "noResponseFromSubnetComponent"},
    {0x26, "failurePreventsExecutionOfRequestedAction"},
    {0x31, "requestOutOfRange"},
    {0x33, "securityAccessDenied"},
    {0x34, "authenticationRequired"},
    {0x35, "invalidKey"},
    {0x36, "exceedNumberOfAttempts"},
    {0x37, "requiredTimeDelayNotExpired"},
    {0x38, "secureDataTransmissionRequired"},
    {0x39, "secureDataTransmissionNotAllowed"},
    {0x3A, "secureDataVerificationFailed"},
    {0x50, "certificateVerificationFailedInvalidTimePeriod"},
    {0x51, "certificateVerificationFailedInvalidSignature"},
    {0x52, "certificateVerificationFailedInvalidChainOfTrust"},
    {0x53, "certificateVerificationFailedInvalidType"},
    {0x54, "certificateVerificationFailedInvalidFormat"},
    {0x55, "certificateVerificationFailedInvalidContent"},
    {0x56, "certificateVerificationFailedInvalidScope"},
    {0x57, "certificateVerificationFailedInvalidCertificate"},
    {0x58, "ownershipVerificationFailed"},
    {0x59, "challengeCalculationFailed"},
    {0x5A, "settingAccessRightsFailed"},
    {0x5B, "sessionKeyCreationDerivationFailed"},
    {0x5C, "configurationDataUsageFailed"},
    {0x5D, "deAuthenticationFailed"},
    {0x70, "uploadDownloadNotAccepted"},
    {0x71, "transferDataSuspended"},
    {0x72, "generalProgrammingFailure"},
    {0x73, "wrongBlockSequenceCounter"},
    {0x78, "requestCorrectlyReceivedResponsePending"},
    {0x7E, "subFunctionNotSupportedInActiveSession"},
    {0x7F, "serviceNotSupportedInActiveSession"},
    {0x81, "rpmTooHigh"},
    {0x82, "rpmTooLow"},
    {0x83, "engineIsRunning"},
    {0x84, "engineIsNotRunning"},
    {0x85, "engineRunTimeTooLow"},
    {0x86, "temperatureTooHigh"},
    {0x87, "temperatureTooLow"},
    {0x88, "vehicleSpeedTooHigh"},
    {0x89, "vehicleSpeedTooLow"},
    {0x8A, "throttlePedalTooHigh"},
    {0x8B, "throttlePedalTooLow"},
    {0x8C, "transmissionRangeNotInNeutral"},
    {0x8D, "transmissionRangeNotInGear"},
    {0x8F, "brakeSwitchNotClosed"},
    {0x90, "shifterLeverNotInPark"},
    {0x91, "torqueConverterClutchLocked"},
    {0x92, "voltageTooHigh"},
    {0x93, "voltageTooLow"},
    {0x94, "resourceTemporarilyNotAvailable"},
    {0xFF, "unspecified (reserved by ISO 14229-1)"},
};

template <std::size_t count>
char const* find(Code const (&codes)[count], unsigned char value) {
    auto const found = std::find_if(std::begin(codes), std::end(codes),
                                    [value](Code const& code) { return code.value == value; });
    return found == std::end(codes) ? nullptr : found->text;
}

}  // namespace

std::string returnCodeMeaning(unsigned char code) {
    if (char const* text = find(RETURN_CODES, code)) return text;
    if (code < 0x20) return "reserved for generic SOME/IP errors";
    if (code < 0x5F) return "an error of this service or method";
    return "not defined by SOME/IP";
}

std::string negativeResponseName(unsigned char code) {
    char const* text = find(NEGATIVE_RESPONSES, code);
    return text ? text : "not defined by ISO 14229-1";
}

std::vector<std::pair<unsigned char, std::string>> negativeResponses() {
    std::vector<std::pair<unsigned char, std::string>> all;
    for (Code const& code : NEGATIVE_RESPONSES) all.emplace_back(code.value, code.text);
    return all;
}

std::string monitorStateName(unsigned char state) {
    switch (static_cast<ac::dm::types::MonitorActionType>(state)) {
        case ac::dm::types::MonitorActionType::kPassed:
            return "passed";
        case ac::dm::types::MonitorActionType::kFailed:
            return "failed";
    }
    return "unknown";
}

std::map<std::string, int> const& initReasons() {
    using ac::dm::types::InitMonitorReasonType;
    static std::map<std::string, int> const reasons{
        {"clear", static_cast<int>(InitMonitorReasonType::kClear)},
        {"restart", static_cast<int>(InitMonitorReasonType::kRestart)},
        {"re-enabled", static_cast<int>(InitMonitorReasonType::kReenabled)}};
    return reasons;
}

}  // namespace tester
