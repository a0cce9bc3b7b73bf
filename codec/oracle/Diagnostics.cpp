#include "codec/codec.h"
#include "codec/oracle/Subjects.h"
#include "codec/oracle/Tables.h"

namespace oracle {

namespace {

const EnumSet DTC_STATUS{"tVALDTCStatus", 32, {{0, 3}}};
const EnumSet SERVICES{"tVALNetworkServicesDiagAra", 32, {{1, 1}}};

const Record NOTHING{"VALNull_t", sizeof(VALNull_t), {unsignedField(MEMBER(VALNull_t, value), 1)}};
const Record BOOL{"VALBool_t", sizeof(VALBool_t), {boolField(MEMBER(VALBool_t, value))}};
const Record UINT8{"VALUInt8_t", sizeof(VALUInt8_t), {unsignedField(MEMBER(VALUInt8_t, value), 1)}};
const Record UINT16{"VALUInt16_t", sizeof(VALUInt16_t), {unsignedField(MEMBER(VALUInt16_t, value), 2)}};

const Record RESPONSE{
    "VALDiagnosticsResponse_t",
    sizeof(VALDiagnosticsResponse_t),
    {unsignedField(MEMBER(VALDiagnosticsResponse_t, requestId), 2),
     unsignedField(MEMBER(VALDiagnosticsResponse_t, totalLength), 2),
     unsignedField(MEMBER(VALDiagnosticsResponse_t, offset), 2),
     unsignedField(MEMBER(VALDiagnosticsResponse_t, length), 2),
     unsignedField(MEMBER(VALDiagnosticsResponse_t, dataLength), 2),
     counted(unsignedField(MEMBER(VALDiagnosticsResponse_t, data), 1), "dataLength", 4083)}};

const Record RESULT{"VALDiagnosticResult_t",
                    sizeof(VALDiagnosticResult_t),
                    {unsignedField(MEMBER(VALDiagnosticResult_t, requestId), 2),
                     unsignedField(MEMBER(VALDiagnosticResult_t, dataLength), 2),
                     counted(unsignedField(MEMBER(VALDiagnosticResult_t, data), 1), "dataLength", 4083)}};

const Record DTC{
    "VALDTCStatus_t",
    sizeof(VALDTCStatus_t),
    {signedField(MEMBER(VALDTCStatus_t, dtc_id), 8), enumField(MEMBER(VALDTCStatus_t, status), DTC_STATUS)}};

const Record SERVICE_STATUS{"VALNetworkServiceStatusDiag_t",
                            sizeof(VALNetworkServiceStatusDiag_t),
                            {enumField(MEMBER(VALNetworkServiceStatusDiag_t, serviceStateDiag), SERVICES)}};

}  // namespace

const std::vector<Subject>& diagnosticsSubjects() {
    static const std::vector<Subject> all = {
        TEXT_SUBJECT(VALNull_t, NOTHING),
        TEXT_SUBJECT(VALBool_t, BOOL),
        TEXT_SUBJECT(VALUInt8_t, UINT8),
        TEXT_SUBJECT(VALUInt16_t, UINT16),
        TEXT_SUBJECT(VALDiagnosticsResponse_t, RESPONSE),
        TEXT_SUBJECT(VALDiagnosticResult_t, RESULT),
        TEXT_SUBJECT(VALDTCStatus_t, DTC),
        TEXT_SUBJECT(VALNetworkServiceStatusDiag_t, SERVICE_STATUS),
        VAL_MESSAGE(Diagnosticsrequest, 2349, UINT16),
        VAL_MESSAGE(Diagnosticsresponse, 2350, RESPONSE),
        VAL_MESSAGE(DiagMeasurementTimer, 2515, NOTHING),
        VAL_MESSAGE(DiagActuatorTestTimer, 2516, NOTHING),
        VAL_MESSAGE(Diagnosticsmeasurementresponse, 2732, RESULT),
        VAL_MESSAGE(DiagmgrJavaSetDtcStatus, 2937, DTC),
        VAL_MESSAGE(NetworkServiceDiagStatus, 2943, SERVICE_STATUS),
    };
    return all;
}

const std::vector<Subject>& subjects() {
    static const std::vector<Subject> all = [] {
        std::vector<Subject> joined = diagmgrSubjects();
        for (const auto* family : {&diagnosticsSubjects(), &sampleSubjects()}) {
            joined.insert(joined.end(), family->begin(), family->end());
        }
        return joined;
    }();
    return all;
}

const Subject& subjectOfMessage(const std::string& message) {
    for (const Subject& each : subjects()) {
        if (each.message != nullptr && message == each.message) return each;
    }
    throw std::out_of_range("no message " + message);
}

}  // namespace oracle
