#include "codec/codec.h"
#include "codec/oracle/Expected.h"

namespace oracle::expected {

namespace {

const EnumSet ADAPTATION{"tDiagMgrAdaptationID",
                         32,
                         {{105, 106},
                          {112, 120},
                          {122, 147},
                          {149, 171},
                          {174, 179},
                          {199, 199},
                          {202, 202},
                          {209, 210},
                          {231, 241},
                          {244, 255},
                          {270, 271},
                          {277, 278},
                          {283, 283},
                          {294, 294},
                          {296, 306},
                          {312, 318}}};
const EnumSet DATASET{"tDiagMgrDatasetID", 32, {{190, 198}, {211, 229}, {284, 285}, {293, 293}, {320, 320}}};
const EnumSet ROUTINE{"tDiagMgrRoutineId", 32, {{0, 0}, {180, 189}, {200, 201}, {273, 276}, {308, 311}}};
const EnumSet CONTROL{"tControlParameter", 8, {{1, 4}}};
const EnumSet ROUTINE_STATUS{"tRoutineStatus", 8, {{0, 5}, {16, 19}}};
const EnumSet ROUTINE_RESULT{"tRoutineResult", 32, {{0, 2}}};
const EnumSet CODING_STATUS{"tCodingRespStatus", 32, {{0, 2}}};

// One row of a table each; R is the record in question.
#define U(member, bytes) unsignedField(MEMBER(R, member), bytes)
#define B(member) boolField(MEMBER(R, member))
#define E(member, set) enumField(MEMBER(R, member), set)
#define FIXED(member) fixedBytes(MEMBER(R, member))
#define BYTES(member, count, maximum) counted(U(member, 1), count, maximum)
#define TABLE(record, ...)                                            \
    const Record& table_##record() {                                  \
        using R = record;                                             \
        static const Record table{#record, sizeof(R), {__VA_ARGS__}}; \
        return table;                                                 \
    }

TABLE(tDiagmgrSetEventds, FIXED(event))
TABLE(tDiagmgrGetAdaptationReqds, E(adaptationId, ADAPTATION), U(transactionId, 4))
TABLE(tDiagmgrGetAdaptationRespds, E(adaptationId, ADAPTATION), U(transactionId, 4), U(length, 2),
      BYTES(data, "length", 4032))
TABLE(tDiagmgrAdaptationIndds, E(adaptationId, ADAPTATION), U(indicationValue, 1))
TABLE(tDiagmgrGetAdaptationsetReqds, U(length, 2), U(transactionId, 4),
      counted(E(adaptationIds, ADAPTATION), "length", 64))
TABLE(tDiagmgrGetAdaptationsetRespds, U(length, 2), U(transactionId, 4), BYTES(data, "length", 4032))
TABLE(tDiagmgrGetDatasetVersionReqds, E(datasetId, DATASET), U(transactionId, 4))
TABLE(tDiagmgrGetDatasetVersionRespds, E(datasetId, DATASET), U(transactionId, 4), B(versionFlagA),
      FIXED(version), B(versionFlagB))
TABLE(tDiagmgrGetDatasetReqds, E(datasetId, DATASET), U(transactionId, 4), U(segmentId, 1))
TABLE(tDiagmgrGetDatasetRespds, E(datasetId, DATASET), U(transactionId, 4), U(segmentId, 1), B(datasetFlag),
      U(length, 2), BYTES(data, "length", 834))
TABLE(tDiagmgrDatasetCheckIndds, E(datasetId, DATASET), B(checkFlagA), B(checkFlagB))
TABLE(tDiagmgrPutDatasetReqds, E(datasetId, DATASET), U(transactionId, 4), U(valueA, 2), U(valueB, 2))
TABLE(tDiagmgrPutDatasetRespds, E(datasetId, DATASET), U(transactionId, 4), U(valueA, 2), B(datasetFlag),
      U(length, 2), FIXED(data))
TABLE(tDiagmgrPutDatasetTransferexitIndds, E(datasetId, DATASET))
TABLE(tDiagmgrJavaGetCodingRespds, E(status, CODING_STATUS), recordField(MEMBER(R, coding), codingTable()))
TABLE(tDiagmgrJavaControlMonitorPathIndds, U(componentId, 4), FIXED(pathBytes))
TABLE(tDiagmgrJavaControlMonitorPathReqds, U(componentId, 4), U(transactionId, 4))
TABLE(tDiagmgrJavaControlMonitorPathRespds, U(resultValue, 4), U(transactionId, 4), FIXED(pathBytes))
TABLE(tDiagmgrJavaRoutineReqds, E(routineId, ROUTINE), U(transactionId, 4), U(length, 4),
      E(controlParameter, CONTROL), BYTES(controlData, "length", 4083))
TABLE(tDiagmgrJavaRoutineRespds, E(routineId, ROUTINE), U(transactionId, 4), U(length, 4),
      E(controlParameter, CONTROL), E(routineStatus, ROUTINE_STATUS), E(routineResult, ROUTINE_RESULT),
      BYTES(resultData, "length", 4083))

#undef U
#undef B
#undef E
#undef FIXED
#undef BYTES
#undef TABLE

}  // namespace

#define ROW(id, name) \
    { id, #name, "t" #name "ds", &table_t##name##ds() }

const Family& diagmgr() {
    static const std::vector<Message> messages = {
        ROW(545, DiagmgrSetEvent),
        ROW(546, DiagmgrGetAdaptationReq),
        ROW(547, DiagmgrGetAdaptationResp),
        ROW(548, DiagmgrAdaptationInd),
        ROW(549, DiagmgrGetAdaptationsetReq),
        ROW(550, DiagmgrGetAdaptationsetResp),
        ROW(586, DiagmgrGetDatasetVersionReq),
        ROW(587, DiagmgrGetDatasetVersionResp),
        ROW(588, DiagmgrGetDatasetReq),
        ROW(589, DiagmgrGetDatasetResp),
        ROW(590, DiagmgrDatasetCheckInd),
        ROW(592, DiagmgrPutDatasetReq),
        ROW(593, DiagmgrPutDatasetResp),
        ROW(601, DiagmgrJavaGetCodingResp),
        ROW(603, DiagmgrPutDatasetTransferexitInd),
        ROW(646, DiagmgrJavaControlMonitorPathInd),
        ROW(647, DiagmgrJavaControlMonitorPathReq),
        ROW(648, DiagmgrJavaControlMonitorPathResp),
        ROW(665, DiagmgrJavaRoutineReq),
        ROW(666, DiagmgrJavaRoutineResp),
    };
    static const Family family = [] {
        Family all{{&codingTable()}, messages};
        for (const Message& each : messages) all.records.push_back(each.record);
        return all;
    }();
    return family;
}

#undef ROW

}  // namespace oracle::expected
