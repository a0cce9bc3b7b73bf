// What the diagnostic records look like on the wire, where their limits are, and what failures leave behind.

#include "codec/codec.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using RangeErrors = std::vector<oracle::RangeError>;

struct RecordsTest : testing::Test {
    RecordsTest() { oracle::takeRangeErrors(); }

    sQlet1Mod4MessageHdr header{};
    Bytes buffer = Bytes(5000, 0xEE);

    /** Readies the header for unpacking `length` bytes of the buffer as the message `id`. */
    void receive(std::uint16_t id, std::size_t length) {
        header = {0, id, static_cast<std::uint32_t>(length)};
    }
    void receive(std::uint16_t id, const Bytes& payload) {
        std::copy(payload.begin(), payload.end(), buffer.begin());
        receive(id, payload.size());
    }
    Bytes packed() const { return Bytes(buffer.begin(), buffer.begin() + header.length); }
};

template <class Record>
Record filledWith(unsigned char byte) {
    Record record;
    std::memset(static_cast<void*>(&record), byte, sizeof record);
    return record;
}

TEST_F(RecordsTest, ADiagnosticsResponseWithoutDataIs10Bytes) {
    tValDiagnosticsresponseIndds record{};
    record.requestId = 0x017D;
    record.totalLength = 1;
    record.offset = 2;
    record.length = 3;
    EXPECT_EQ(PackedSizeOftValDiagnosticsresponseIndds(nullptr, &record), 10u);
    ASSERT_EQ(PackValDiagnosticsresponseInd(&header, buffer.data(), 10, &record), ePackOk);
    EXPECT_EQ(header.messageId, 2350);
    EXPECT_EQ(packed(), (Bytes{0x7D, 0x01, 1, 0, 2, 0, 3, 0, 0, 0}));
}

TEST_F(RecordsTest, APayloadAsLongAsTheRecordUnpacks) {
    receive(2349, Bytes{0x47, 0xB0});
    VALUInt16_t record{};
    EXPECT_EQ(UnpackValDiagnosticsrequestInd(&header, buffer.data(), &record), eUnpackOk);
    EXPECT_EQ(record.value, VALMEASUREMENT_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE);
}

TEST_F(RecordsTest, OneByteMoreIsToldAndTheRecordIsFilled) {
    receive(2349, Bytes{0x47, 0xB0, 0});
    VALUInt16_t record{};
    EXPECT_EQ(UnpackValDiagnosticsrequestInd(&header, buffer.data(), &record), eUnpackTrailingBytes);
    EXPECT_EQ(record.value, 0xB047);
}

TEST_F(RecordsTest, OneByteLessIsTruncated) {
    receive(2349, Bytes{0x47});
    VALUInt16_t record{0x5555};
    EXPECT_EQ(UnpackValDiagnosticsrequestInd(&header, buffer.data(), &record), eUnpackTruncated);
    EXPECT_EQ(record.value, 0x5555);
}

TEST_F(RecordsTest, ABufferOneByteTooSmallLeavesNoLengthButTheId) {
    const VALDTCStatus_t record{};
    header.length = 77;
    EXPECT_EQ(PackValDiagmgrJavaSetDtcStatusInd(&header, buffer.data(), 11, &record), ePackBufferTooSmall);
    EXPECT_EQ(header.length, 0u);
    EXPECT_EQ(header.messageId, 2937);
    EXPECT_EQ(buffer[11], 0xEE);
}

TEST_F(RecordsTest, ALargerBufferIsFineAndTheLengthIsTheTrueOne) {
    const VALDTCStatus_t record{};
    EXPECT_EQ(PackValDiagmgrJavaSetDtcStatusInd(&header, buffer.data(), 5000, &record), ePackOk);
    EXPECT_EQ(header.length, 12u);
}

TEST_F(RecordsTest, ACountAtTheMaximumPassesBothWays) {
    VALDiagnosticsResponse_t record{};
    record.dataLength = 4083;
    record.data[4082] = 9;
    ASSERT_EQ(PackValDiagnosticsresponseInd(&header, buffer.data(), 5000, &record), ePackOk);
    EXPECT_EQ(header.length, 4093u);
    auto back = filledWith<VALDiagnosticsResponse_t>(0x11);
    ASSERT_EQ(UnpackValDiagnosticsresponseInd(&header, buffer.data(), &back), eUnpackOk);
    EXPECT_EQ(back.data[4082], 9);
}

TEST_F(RecordsTest, ACountAboveTheMaximumIsRefusedBothWays) {
    VALDiagnosticsResponse_t record{};
    record.dataLength = 4084;
    EXPECT_EQ(PackedSizeOfVALDiagnosticsResponse_t(nullptr, &record), 4094u);
    EXPECT_EQ(PackValDiagnosticsresponseInd(&header, buffer.data(), 5000, &record), ePackArrayTooLong);
    EXPECT_EQ(header.length, 0u);
    EXPECT_EQ(buffer[8] | buffer[9] << 8, 4084) << "the count goes out before it is tested";

    receive(2350, 4094);
    auto back = filledWith<VALDiagnosticsResponse_t>(0x11);
    EXPECT_EQ(UnpackValDiagnosticsresponseInd(&header, buffer.data(), &back), eUnpackArrayTooLong);
    EXPECT_EQ(back.dataLength, 4084) << "the bad count stays";
    EXPECT_EQ(back.data[0], 0x11);
}

TEST_F(RecordsTest, ACountOf0LeavesTheArrayUntouched) {
    receive(2732, Bytes{1, 0, 0, 0});
    auto record = filledWith<VALDiagnosticResult_t>(0x11);
    EXPECT_EQ(UnpackValDiagnosticsmeasurementresponseInd(&header, buffer.data(), &record), eUnpackOk);
    EXPECT_EQ(record.dataLength, 0);
    EXPECT_TRUE(
        std::all_of(std::begin(record.data), std::end(record.data), [](auto each) { return each == 0x11; }));
}

TEST_F(RecordsTest, ABadEnumerationWritesNoByteOfItsFieldAndIsNamedOnce) {
    VALDTCStatus_t record{};
    record.dtc_id = 1;
    record.status = static_cast<tVALDTCStatus>(4);
    EXPECT_EQ(PackValDiagmgrJavaSetDtcStatusInd(&header, buffer.data(), 12, &record), ePackBadEnum);
    EXPECT_EQ(header.length, 0u);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 9), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0xEE}));
    EXPECT_EQ(oracle::takeRangeErrors(), (RangeErrors{{"tVALDTCStatus", 4}}));
}

TEST_F(RecordsTest, ABadEnumerationLeavesItsMemberAndIsNamedOnce) {
    receive(2937, Bytes{1, 0, 0, 0, 0, 0, 0, 0x80, 4, 0, 0, 0});
    VALDTCStatus_t record{};
    record.status = static_cast<tVALDTCStatus>(2);
    EXPECT_EQ(UnpackValDiagmgrJavaSetDtcStatusInd(&header, buffer.data(), &record), eUnpackBadEnum);
    EXPECT_EQ(record.dtc_id, INT64_MIN + 1);
    EXPECT_EQ(record.status, 2u);
    EXPECT_EQ(oracle::takeRangeErrors(), (RangeErrors{{"tVALDTCStatus", 4}}));
}

TEST_F(RecordsTest, AnEnumerationWiderInMemoryIsTestedAsItWillStandOnTheWire) {
    tDiagmgrJavaRoutineReqds record{};
    record.controlParameter = static_cast<tControlParameter>(258);
    ASSERT_EQ(PackDiagmgrJavaRoutineReq(&header, buffer.data(), 13, &record), ePackOk);
    EXPECT_EQ(buffer[12], 2);
    record.controlParameter = static_cast<tControlParameter>(256);
    EXPECT_EQ(PackDiagmgrJavaRoutineReq(&header, buffer.data(), 13, &record), ePackBadEnum);
    EXPECT_EQ(oracle::takeRangeErrors(), (RangeErrors{{"tControlParameter", 0}}));
}

TEST_F(RecordsTest, AWiderMemberIsFilledWithZeros) {
    receive(665, Bytes{52, 1, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 4});
    auto record = filledWith<tDiagmgrJavaRoutineReqds>(0xFF);
    ASSERT_EQ(UnpackDiagmgrJavaRoutineReq(&header, buffer.data(), &record), eUnpackOk);
    EXPECT_EQ(record.controlParameter, eControlParameterCancel);
}

TEST_F(RecordsTest, ABoolOf2GoesOutAs2AndComesBackAs1) {
    tDiagmgrGetDatasetVersionRespds record{};
    record.datasetId = static_cast<tDiagMgrDatasetID>(190);
    record.versionFlagA = 2;
    std::memcpy(record.version, "----", 4);
    ASSERT_EQ(PackDiagmgrGetDatasetVersionResp(&header, buffer.data(), 14, &record), ePackOk);
    EXPECT_EQ(packed(), (Bytes{190, 0, 0, 0, 0, 0, 0, 0, 2, '-', '-', '-', '-', 0}));
    ASSERT_EQ(UnpackDiagmgrGetDatasetVersionResp(&header, buffer.data(), &record), eUnpackOk);
    EXPECT_EQ(record.versionFlagA, 1);
    EXPECT_EQ(record.versionFlagB, 0);
}

TEST_F(RecordsTest, AnEmptyPayloadIsOneByte) {
    const VALNull_t record{9};
    EXPECT_EQ(PackedSizeOfVALNull_t(nullptr, nullptr), 1u);
    ASSERT_EQ(PackValDiagMeasurementTimerInd(&header, buffer.data(), 1, &record), ePackOk);
    EXPECT_EQ(packed(), Bytes{9});
    VALNull_t back{};
    receive(2515, 0u);
    EXPECT_EQ(UnpackValDiagMeasurementTimerInd(&header, buffer.data(), &back), eUnpackTruncated);
    receive(2515, 1u);
    EXPECT_EQ(UnpackValDiagMeasurementTimerInd(&header, buffer.data(), &back), eUnpackOk);
    EXPECT_EQ(back.value, 9);
}

TEST_F(RecordsTest, AWrongIdIsCaughtBeforeAByteIsRead) {
    receive(2350, Bytes{0x47, 0xB0});
    VALUInt16_t record{0x5555};
    EXPECT_EQ(UnpackValDiagnosticsrequestInd(&header, nullptr, &record), eUnpackWrongMessageId);
    EXPECT_EQ(record.value, 0x5555);
}

TEST_F(RecordsTest, SixtyFourAdaptationsAre262BytesAndPass) {
    tDiagmgrGetAdaptationsetReqds record{};
    record.length = 64;
    record.transactionId = 0x01020304;
    std::fill(std::begin(record.adaptationIds), std::end(record.adaptationIds),
              static_cast<tDiagMgrAdaptationID>(105));
    EXPECT_EQ(PackedSizeOftDiagmgrGetAdaptationsetReqds(nullptr, &record), 262u);
    ASSERT_EQ(PackDiagmgrGetAdaptationsetReq(&header, buffer.data(), 262, &record), ePackOk);
    auto back = filledWith<tDiagmgrGetAdaptationsetReqds>(0);
    ASSERT_EQ(UnpackDiagmgrGetAdaptationsetReq(&header, buffer.data(), &back), eUnpackOk);
    EXPECT_EQ(std::memcmp(&record, &back, sizeof record), 0);
}

TEST_F(RecordsTest, SixtyFiveAdaptationsFailAfterCountAndTransaction) {
    Bytes payload(266, 0);
    payload[0] = 65;
    payload[2] = 7;
    receive(549, payload);
    auto record = filledWith<tDiagmgrGetAdaptationsetReqds>(0x11);
    EXPECT_EQ(UnpackDiagmgrGetAdaptationsetReq(&header, buffer.data(), &record), eUnpackArrayTooLong);
    EXPECT_EQ(record.length, 65);
    EXPECT_EQ(record.transactionId, 7u);
    EXPECT_EQ(record.adaptationIds[0], 0x11111111u);
    EXPECT_EQ(PackDiagmgrGetAdaptationsetReq(&header, buffer.data(), 5000, &record), ePackArrayTooLong);
    EXPECT_TRUE(oracle::takeRangeErrors().empty()) << "no id was looked at";
}

TEST_F(RecordsTest, AnUnknownAdaptationStopsAtItsElement) {
    receive(549, Bytes{3, 0, 7, 0, 0, 0, 105, 0, 0, 0, 107, 0, 0, 0, 106, 0, 0, 0});
    auto record = filledWith<tDiagmgrGetAdaptationsetReqds>(0x11);
    EXPECT_EQ(UnpackDiagmgrGetAdaptationsetReq(&header, buffer.data(), &record), eUnpackBadEnum);
    EXPECT_EQ(record.adaptationIds[0], 105u);
    EXPECT_EQ(record.adaptationIds[1], 0x11111111u);
    EXPECT_EQ(record.adaptationIds[2], 0x11111111u);
    EXPECT_EQ(oracle::takeRangeErrors(), (RangeErrors{{"tDiagMgrAdaptationID", 107}}));
}

TEST_F(RecordsTest, ARoutineAnswerOf4083BytesIs4101BytesLong) {
    tDiagmgrJavaRoutineRespds record{};
    record.length = 4083;
    record.controlParameter = eControlParameterStart;
    EXPECT_EQ(PackedSizeOftDiagmgrJavaRoutineRespds(nullptr, &record), 4101u);
    ASSERT_EQ(PackDiagmgrJavaRoutineResp(&header, buffer.data(), 4101, &record), ePackOk);
    EXPECT_EQ(header.length, 4101u);
}

TEST_F(RecordsTest, ABadEnumerationBetweenCountAndArrayWinsOverTheBadCount) {
    tDiagmgrJavaRoutineRespds record{};
    record.length = 4084;
    record.controlParameter = eControlParameterStart;
    EXPECT_EQ(PackDiagmgrJavaRoutineResp(&header, buffer.data(), 5000, &record), ePackArrayTooLong);
    receive(666, 4102);
    EXPECT_EQ(UnpackDiagmgrJavaRoutineResp(&header, buffer.data(), &record), eUnpackArrayTooLong);

    for (const std::size_t offset : {12u, 13u, 14u}) {  // control parameter, status, result
        const unsigned char good = buffer[offset];
        buffer[offset] = 6;
        EXPECT_EQ(UnpackDiagmgrJavaRoutineResp(&header, buffer.data(), &record), eUnpackBadEnum) << offset;
        buffer[offset] = good;
    }
    record.length = 4084;
    record.routineStatus = static_cast<tRoutineStatus>(6);
    EXPECT_EQ(PackDiagmgrJavaRoutineResp(&header, buffer.data(), 5000, &record), ePackBadEnum);
}

TEST_F(RecordsTest, ADatasetOf834BytesIs846BytesLong) {
    tDiagmgrGetDatasetRespds record{};
    record.datasetId = static_cast<tDiagMgrDatasetID>(320);
    record.length = 834;
    ASSERT_EQ(PackDiagmgrGetDatasetResp(&header, buffer.data(), 5000, &record), ePackOk);
    EXPECT_EQ(header.length, 846u);
    record.length = 835;
    EXPECT_EQ(PackDiagmgrGetDatasetResp(&header, buffer.data(), 5000, &record), ePackArrayTooLong);
}

TEST_F(RecordsTest, ADatasetToPutIsSentWholeWhateverItsLengthSays) {
    tDiagmgrPutDatasetRespds record{};
    record.datasetId = static_cast<tDiagMgrDatasetID>(190);
    record.length = 65535;
    EXPECT_EQ(PackedSizeOftDiagmgrPutDatasetRespds(), 4096u);
    ASSERT_EQ(PackDiagmgrPutDatasetResp(&header, buffer.data(), 4096, &record), ePackOk);
    EXPECT_EQ(header.length, 4096u);
}

TEST_F(RecordsTest, TheCodingIs58BytesOnTheWireAndFourTimesThatInMemory) {
    EXPECT_EQ(sizeof(tDiagCoding), 4u * 58u);
    EXPECT_EQ(PackedSizeOftDiagCoding(), 58u);
    tDiagmgrJavaGetCodingRespds record{};
    record.status = static_cast<tCodingRespStatus>(2);
    record.coding.Brand = static_cast<tCodingBrand>(255);
    record.coding.Car_Class_Value = 0x1FE;
    record.coding.Coding_Tail_Value = 0xFF;
    ASSERT_EQ(PackDiagmgrJavaGetCodingResp(&header, buffer.data(), 62, &record), ePackOk);
    EXPECT_EQ(header.length, 62u);
    EXPECT_EQ(buffer[4], 255);
    EXPECT_EQ(buffer[6], 0xFE);
    EXPECT_EQ(buffer[61], 0xFF);
}

TEST_F(RecordsTest, AMeasurementIsNamedByItsIdentifierAndNotTestedInARequest) {
    EXPECT_TRUE(PackUnpackEnumtVALMeasurementIDHasValue(0x54DE));
    EXPECT_FALSE(PackUnpackEnumtVALMeasurementIDHasValue(0x54DD));
    EXPECT_EQ(oracle::takeRangeErrors(), (RangeErrors{{"tVALMeasurementID", 0x54DD}}));
    const VALUInt16_t record{0x54DD};
    EXPECT_EQ(PackValDiagnosticsrequestInd(&header, buffer.data(), 2, &record), ePackOk);
}

TEST_F(RecordsTest, FixedSizesNeedNoRecord) {
    EXPECT_EQ(PackedSizeOfVALNetworkServiceStatusDiag_t(), 4u);
    EXPECT_EQ(PackedSizeOftValDiagnosticsrequestIndds(), 2u);
    EXPECT_EQ(PackedSizeOftDiagmgrGetAdaptationReqds(nullptr, nullptr), 8u);
    EXPECT_EQ(PackedSizeOftDiagmgrAdaptationIndds(), 5u);
    EXPECT_EQ(PackedSizeOftDiagmgrGetDatasetVersionReqds(), 8u);
    EXPECT_EQ(PackedSizeOftDiagmgrGetDatasetVersionRespds(), 14u);
    EXPECT_EQ(PackedSizeOftDiagmgrGetDatasetReqds(), 9u);
    EXPECT_EQ(PackedSizeOftDiagmgrJavaGetCodingRespds(), 62u);
    EXPECT_EQ(PackedSizeOftDiagmgrJavaControlMonitorPathReqds(), 8u);
    EXPECT_EQ(PackedSizeOftDiagmgrJavaControlMonitorPathRespds(), 12u);
    EXPECT_EQ(PackedSizeOfVALDTCStatus_t(), 12u);
    EXPECT_EQ(PackedSizeOftDiagmgrSetEventds(), 4u);
    EXPECT_EQ(PackedSizeOftDiagmgrDatasetCheckIndds(), 6u);
    EXPECT_EQ(PackedSizeOftDiagmgrPutDatasetReqds(), 12u);
    EXPECT_EQ(PackedSizeOftDiagmgrPutDatasetTransferexitIndds(), 4u);
    EXPECT_EQ(PackedSizeOftDiagmgrJavaControlMonitorPathIndds(), 8u);
}

TEST_F(RecordsTest, MessageFunctionsHaveOneShapeThatSendersCanNameByType) {
    using Pack = tPackErrorCode (*)(sQlet1Mod4MessageHdr*, unsigned char*, unsigned int, const VALUInt16_t*);
    static_assert(std::is_same_v<decltype(&PackValDiagnosticsrequestInd), Pack>);
    EXPECT_EQ(ValDiagnosticsrequestIndId, 2349);
}

}  // namespace
