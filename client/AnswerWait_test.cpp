// In a program of its own: elsewhere the tests bring a shorter wait.
#include "client/AnswerWait.h"

#include <gtest/gtest.h>

#include "client/Constants.h"

namespace {

using namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field;

TEST(AnswerWait, IsThreeSeconds) {
    EXPECT_EQ(Constants::FUTURE_TIMEOUT, 3);
    EXPECT_EQ(answerWait(), std::chrono::seconds(3));
}

TEST(Constants, AreTheFiguresOfTheMessages) {
    EXPECT_EQ(Constants::LENGTH_ZERO, 0);
    EXPECT_EQ(Constants::ADAP_ID_INCR, 4);
    EXPECT_EQ(Constants::LEN_INCR, 2);
    EXPECT_EQ(Constants::MIN_SPACE_FOR_ADAP_ID, 6);
    EXPECT_EQ(Constants::NVM_STATUS_OK, 0x80);
    EXPECT_EQ(Constants::NVM_OK, 0);
    EXPECT_EQ(Constants::SEGMENTID_ZERO, 0);
    EXPECT_EQ(Constants::MAPPING_NOT_VALID, 0U);
    EXPECT_EQ(Constants::JAVA_CONTROL_MONITOR_PATH_COMPONENTID, 7U);
}

}  // namespace
