#include "client/RequestText.h"

#include <gtest/gtest.h>

namespace {

using namespace zvg::val::diag_ara;

TEST(RequestText, NumbersAreLowerCaseHexadecimalWithoutPadding) {
    EXPECT_EQ(convert_intToHexStr(0), "0x0");
    EXPECT_EQ(convert_intToHexStr(149), "0x95");
    EXPECT_EQ(convert_intToHexStr(0xA50), "0xa50");
    EXPECT_EQ(convert_intToHexStr(0xFFFFFFFF), "0xffffffff");
}

TEST(RequestText, OfASetRequestListsTheIdsThatCount) {
    tDiagmgrGetAdaptationsetReqds request{};
    request.transactionId = 4711;
    EXPECT_EQ(print_adaptationsetReqIds(request), "adaptationIds=[], transactionId=4711");
    request.adaptationIds[0] = tDiagMgrAdaptationID{149};
    request.adaptationIds[1] = tDiagMgrAdaptationID{316};
    request.adaptationIds[2] = tDiagMgrAdaptationID{105};
    request.length = 2;
    EXPECT_EQ(print_adaptationsetReqIds(request), "adaptationIds=[0x95,0x13c], transactionId=4711");
    request.length = 65535;
    EXPECT_EQ(print_adaptationsetReqIds(request).substr(0, 36), "adaptationIds=[0x95,0x13c,0x69,0x0,0");
}

TEST(RequestText, OfTheOtherRequestsNamesEachField) {
    EXPECT_EQ(print_getDataSetVersionReq({tDiagMgrDatasetID{190}, 7}), "datasetId=0xbe, transactionId=7");
    EXPECT_EQ(print_getDataSetReq({tDiagMgrDatasetID{190}, 7, 200}),
              "datasetId=0xbe, transactionId=7, segmentId=200");
    EXPECT_EQ(print_javaControlMonitorPathReq({3, 4294967295U}), "componentId=3, transactionId=4294967295");
}

}  // namespace
