#include "tools/tester/Codes.h"

#include <gtest/gtest.h>

namespace tester {
namespace {

struct Meaning {
    unsigned char code;
    char const* begin;
};

class ReturnCode : public testing::TestWithParam<Meaning> {};

TEST_P(ReturnCode, HasItsSomeIpMeaning) {
    EXPECT_TRUE(returnCodeMeaning(GetParam().code).starts_with(GetParam().begin))
        << returnCodeMeaning(GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    All, ReturnCode,
    testing::Values(Meaning{0x00, "E_OK"}, Meaning{0x01, "E_NOT_OK"}, Meaning{0x02, "E_UNKNOWN_SERVICE"},
                    Meaning{0x03, "E_UNKNOWN_METHOD"}, Meaning{0x04, "E_NOT_READY"},
                    Meaning{0x05, "E_NOT_REACHABLE"}, Meaning{0x06, "E_TIMEOUT"},
                    Meaning{0x07, "E_WRONG_PROTOCOL_VERSION"}, Meaning{0x08, "E_WRONG_INTERFACE_VERSION"},
                    Meaning{0x09, "E_MALFORMED_MESSAGE"}, Meaning{0x0A, "E_WRONG_MESSAGE_TYPE"},
                    Meaning{0x0B, "E_E2E_REPEATED"}, Meaning{0x0F, "E_E2E_NO_NEW_DATA"},
                    Meaning{0x10, "reserved"}, Meaning{0x1F, "reserved"},
                    Meaning{0x20, "an error of this service"}, Meaning{0x5E, "an error of this service"},
                    Meaning{0x5F, "not defined"},
                    Meaning{0x80, "the service couldn't deserialize the request"}));

TEST(NegativeResponse, HasItsName) {
    EXPECT_EQ(negativeResponseName(0x13), "incorrectMessageLengthOrInvalidFormat");
    EXPECT_EQ(negativeResponseName(0x26), "failurePreventsExecutionOfRequestedAction");
    EXPECT_EQ(negativeResponseName(0x31), "requestOutOfRange");
    EXPECT_EQ(negativeResponseName(0x78), "requestCorrectlyReceivedResponsePending");
    EXPECT_EQ(negativeResponseName(0x94), "resourceTemporarilyNotAvailable");
    EXPECT_EQ(negativeResponseName(0x02), "not defined by ISO 14229-1");
    EXPECT_EQ(negativeResponseName(0xFF), "unspecified (reserved by ISO 14229-1)");
}

}  // namespace
}  // namespace tester
