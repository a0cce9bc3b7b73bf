#include "codec/codec.h"
#include "codec/oracle/Expected.h"

namespace oracle::expected {

namespace {

const EnumSet DTC_STATUS{"tVALDTCStatus", 32, {{0, 3}}};
const EnumSet SERVICES{"tVALNetworkServicesDiagAra", 32, {{1, 1}}};

const Record NOTHING{"VALNull_t", sizeof(VALNull_t), {unsignedField(MEMBER(VALNull_t, value), 1)}, true};
const Record BOOL{"VALBool_t", sizeof(VALBool_t), {boolField(MEMBER(VALBool_t, value))}, true};
const Record UINT8{"VALUInt8_t", sizeof(VALUInt8_t), {unsignedField(MEMBER(VALUInt8_t, value), 1)}, true};
const Record UINT16{"VALUInt16_t", sizeof(VALUInt16_t), {unsignedField(MEMBER(VALUInt16_t, value), 2)}, true};

const Record RESPONSE{"VALDiagnosticsResponse_t",
                      sizeof(VALDiagnosticsResponse_t),
                      {unsignedField(MEMBER(VALDiagnosticsResponse_t, requestId), 2),
                       unsignedField(MEMBER(VALDiagnosticsResponse_t, totalLength), 2),
                       unsignedField(MEMBER(VALDiagnosticsResponse_t, offset), 2),
                       unsignedField(MEMBER(VALDiagnosticsResponse_t, length), 2),
                       unsignedField(MEMBER(VALDiagnosticsResponse_t, dataLength), 2),
                       counted(unsignedField(MEMBER(VALDiagnosticsResponse_t, data), 1), "dataLength", 4083)},
                      true};

const Record RESULT{"VALDiagnosticResult_t",
                    sizeof(VALDiagnosticResult_t),
                    {unsignedField(MEMBER(VALDiagnosticResult_t, requestId), 2),
                     unsignedField(MEMBER(VALDiagnosticResult_t, dataLength), 2),
                     counted(unsignedField(MEMBER(VALDiagnosticResult_t, data), 1), "dataLength", 4083)},
                    true};

const Record DTC{
    "VALDTCStatus_t",
    sizeof(VALDTCStatus_t),
    {signedField(MEMBER(VALDTCStatus_t, dtc_id), 8), enumField(MEMBER(VALDTCStatus_t, status), DTC_STATUS)},
    true};

const Record SERVICE_STATUS{"VALNetworkServiceStatusDiag_t",
                            sizeof(VALNetworkServiceStatusDiag_t),
                            {enumField(MEMBER(VALNetworkServiceStatusDiag_t, serviceStateDiag), SERVICES)},
                            true};

}  // namespace

#define ROW(id, name, record) \
    { id, "Val" #name "Ind", "tVal" #name "Indds", &(record) }

const Family& diagnostics() {
    static const Family family = {
        {&NOTHING, &BOOL, &UINT8, &UINT16, &RESPONSE, &RESULT, &DTC, &SERVICE_STATUS},
        {
            ROW(2349, Diagnosticsrequest, UINT16),
            ROW(2350, Diagnosticsresponse, RESPONSE),
            ROW(2515, DiagMeasurementTimer, NOTHING),
            ROW(2516, DiagActuatorTestTimer, NOTHING),
            ROW(2732, Diagnosticsmeasurementresponse, RESULT),
            ROW(2937, DiagmgrJavaSetDtcStatus, DTC),
            ROW(2943, NetworkServiceDiagStatus, SERVICE_STATUS),
        }};
    return family;
}

#undef ROW

}  // namespace oracle::expected
