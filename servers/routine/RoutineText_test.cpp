#include "servers/routine/RoutineText.h"

#include <gtest/gtest.h>

namespace zvg::val::diag_ara {
namespace {

TEST(RoutineText, RequestShowsEachFieldAndItsBytes) {
    tDiagmgrJavaRoutineReqds request{};
    request.routineId = tDiagMgrRoutineId{310};
    request.transactionId = 4294967295U;
    request.controlParameter = eControlParameterStop;
    EXPECT_EQ(print_DiagRoutineRequest(request),
              ".routineId = 310, .transactionId = 4294967295, .length = 0, .controlParameter = 2, "
              ".controlData = {}");
    request.length = 3;
    request.controlData[0] = 0x01;
    request.controlData[1] = 0xFF;
    request.controlData[2] = 0xA0;
    EXPECT_EQ(print_DiagRoutineRequest(request),
              ".routineId = 310, .transactionId = 4294967295, .length = 3, .controlParameter = 2, "
              ".controlData = {01 ff a0}");
}

TEST(RoutineText, ResponseShowsEachFieldAndItsBytes) {
    tDiagmgrJavaRoutineRespds response{};
    response.routineId = tDiagMgrRoutineId{308};
    response.transactionId = 7;
    response.controlParameter = eControlParameterRequestResults;
    response.routineStatus = tRoutineStatus{16};
    response.routineResult = tRoutineResult{2};
    response.length = 2;
    response.resultData[1] = 0x10;
    EXPECT_EQ(
        print_DiagRoutineResponse(response),
        ".routineId = 308, .transactionId = 7, .length = 2, .controlParameter = 3, .routineStatus = 16, "
        ".routineResult = 2, .resultData = {00 10}");
}

TEST(RoutineText, LengthBeyondTheRecordShowsWhatTheRecordHas) {
    // Given
    tDiagmgrJavaRoutineReqds request{};
    request.length = 4084;
    tDiagmgrJavaRoutineRespds response{};
    response.length = 0xFFFFFFFF;
    // Then: two digits a byte, a blank between two, and the closing brace
    std::string const asked = print_DiagRoutineRequest(request);
    EXPECT_EQ(asked.size() - asked.find('{'), 1U + 4083 * 3);
    std::string const answered = print_DiagRoutineResponse(response);
    EXPECT_EQ(answered.size() - answered.find('{'), 1U + 4083 * 3);
}

}  // namespace
}  // namespace zvg::val::diag_ara
