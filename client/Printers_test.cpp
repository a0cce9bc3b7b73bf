#include "client/Printers.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using namespace zvg::val::diag_ara::services::diagnosticdatadistribution;
using Hash = zvg::services::diagnosticdatadistribution::datatypes::DT_dataValuesHash_struct;

std::string bytes(std::size_t count) {
    std::vector<std::uint8_t> list(count);
    std::iota(list.begin(), list.end(), static_cast<std::uint8_t>(0));
    std::string const text = printer_DT_DiagnosticValuesResultType_diagnosticData_ARRAY(list, true);
    EXPECT_EQ(printer_DT_DiagnosticValuesResultType_diagnosticData_ARRAY(list, false), text);
    std::string const name = "DT_DiagnosticValuesResultType_diagnosticData_ARRAY=";
    EXPECT_EQ(text.substr(0, name.size()), name);
    return text.substr(name.size());
}

TEST(Printers, WriteAllBytesOfAListOfUpToTwenty) {
    EXPECT_EQ(bytes(0), "[]");
    EXPECT_EQ(bytes(1), "[0]");
    EXPECT_EQ(bytes(3), "[0,1,2]");
    EXPECT_EQ(bytes(20), "[0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19]");
}

TEST(Printers, WriteTheEndsOfALongerList) {
    EXPECT_EQ(bytes(21), "[0,1,2,3,4,5,6,7,8,9,...,11,12,13,14,15,16,17,18,19,20]");
    EXPECT_EQ(bytes(256), "[0,1,2,3,4,5,6,7,8,9,...,246,247,248,249,250,251,252,253,254,255]");
}

TEST(Printers, WriteTheMembersOfAHashThatAreThere) {
    Hash const whole{1U, 2U, 18446744073709551615U};
    EXPECT_EQ(printer_DT_dataValuesHash_vector({}, true), "DT_dataValuesHash_vector=[]");
    EXPECT_EQ(printer_DT_dataValuesHash_vector({whole}, true),
              "DT_dataValuesHash_vector=[{name_space=1,category=2,hashValue=18446744073709551615}]");
    EXPECT_EQ(printer_DT_dataValuesHash_vector({Hash{}, Hash{{}, 4294967295U, {}}, Hash{0U, {}, 3U}}, false),
              "DT_dataValuesHash_vector=[{},{category=4294967295},{name_space=0,hashValue=3}]");
}

TEST(Printers, ShortenALongListOfHashesLikewise) {
    std::vector<Hash> const list(21, Hash{0U, {}, {}});
    std::string const text = printer_DT_dataValuesHash_vector(list, true);
    EXPECT_NE(text.find("},...,{"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '{'), 20);
}

}  // namespace
