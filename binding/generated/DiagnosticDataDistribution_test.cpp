// The data distribution service: names, numbers, and exact bytes.
#include "binding/generated/DiagnosticDataDistribution.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>

#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/testing/Payload_checks.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

using ac::com::someip::serialization::from_bytes;
using ac::com::someip::serialization::to_bytes;
using binding_testing::expectThrow;
using Bytes = std::vector<unsigned char>;
using Hash = datatypes::DT_dataValuesHash_struct;
using Field = DiagnosticDataDistribution::dataValuesHash;

Field::Value readField(Bytes const& bytes) {
    return from_bytes<Field::Value>(bytes, Field::Notify::PROPERTIES);
}

TEST(DiagnosticDataDistribution, HasItsVersionAndItsMembersTags) {
    EXPECT_EQ(DiagnosticDataDistribution::DESCRIPTION, 0x00030001U);
    auto const tags = Hash::get_tlv_tags();
    ASSERT_EQ(tags.size(), 3U);
    unsigned const types[] = {2, 2, 3};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(tags[i].data_id, i);
        EXPECT_EQ(number(tags[i].wire_type), types[i]);
    }
}

TEST(DiagnosticDataDistribution, OperationsAreNumberedAsTheDeploymentListsThem) {
    std::ifstream file(DEPLOYMENT);
    auto const manifest = nlohmann::json::parse(file);
    for (auto const& service : manifest["services"]) {
        if (service["interface"] != DiagnosticDataDistribution::NAME) {
            continue;
        }
        EXPECT_EQ(service["version"]["major"], DiagnosticDataDistribution::DESCRIPTION >> 16U);
        EXPECT_EQ(service["version"]["minor"], DiagnosticDataDistribution::DESCRIPTION & 0xFFFFU);
        EXPECT_EQ(service["methods"].size(), 3U);
        EXPECT_EQ(service["methods"][Field::Get::ID]["name"], "dataValuesHash::Get");
        EXPECT_EQ(service["methods"][DiagnosticDataDistribution::getDiagnosticData::ID]["name"],
                  "getDiagnosticData");
        EXPECT_EQ(service["methods"][DiagnosticDataDistribution::getDiagnosticDataValues::ID]["name"],
                  "getDiagnosticDataValues");
        EXPECT_EQ(service["events"][Field::Notify::ID]["name"], "dataValuesHash::Notify");
        EXPECT_EQ(service["events"][Field::Notify::ID]["field"], true);
        return;
    }
    FAIL() << "no such service in " << DEPLOYMENT;
}

TEST(DiagnosticDataDistribution, HashesAreTaggedStructuresBehindLengthFields) {
    Field::Value const value{{1, 2, 0x0102030405060708}, {{}, {}, {}}, {{}, {}, 9}};
    Bytes const bytes{0,    0, 0, 44,                       //
                      0,    0, 0, 22,                       //
                      0x20, 0, 0, 0,  0,    1,              //
                      0x20, 1, 0, 0,  0,    2,              //
                      0x30, 2, 1, 2,  3,    4, 5, 6, 7, 8,  //
                      0,    0, 0, 0,                        //
                      0,    0, 0, 10, 0x30, 2, 0, 0, 0, 0, 0, 0, 0, 9};
    EXPECT_EQ(to_bytes(value, Field::Notify::PROPERTIES), bytes);
    EXPECT_EQ(readField(bytes), value);
    EXPECT_EQ(to_bytes(Field::Value{}, Field::Get::PROPERTIES), (Bytes{0, 0, 0, 0}));
}

TEST(DiagnosticDataDistribution, UnknownMembersOfAHashAreSkippedAndKnownOnesMayStandInAnyOrder) {
    EXPECT_EQ(readField({0,    0, 0, 24,                      //
                         0,    0, 0, 20,                      //
                         0x20, 1, 0, 0,    0,    2,           //
                         0x50, 9, 2, 0xAA, 0xBB, 0x00, 8, 7,  //
                         0x20, 0, 0, 0,    0,    0}),
              (Field::Value{{0, 2, {}}}));
}

TEST(DiagnosticDataDistribution, HashesThatAreCutAreRefused) {
    Bytes const whole = to_bytes(Field::Value{{1, 2, 3}}, Field::Notify::PROPERTIES);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_THROW(readField({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)}),
                     std::out_of_range);
    }
    expectThrow<std::runtime_error>(
        [] {
            readField({0, 0, 0, 7, 0, 0, 0, 3, 0x10, 0, 0});
        },
        "Invalid source tag wire type");
}

TEST(DiagnosticDataDistribution, ListOfOneRecordHasItsBytes) {
    EXPECT_EQ(to_bytes(datatypes::DT_ListOfIds{2640}), (Bytes{0, 0, 0, 4, 0, 0, 0x0A, 0x50}));
}

TEST(DiagnosticDataDistribution, ResultIsItsDataAndThenItsCode) {
    datatypes::DT_DiagnosticValuesResultType const value{
        {1, 2, 3}, static_cast<datatypes::DT_ResultCodeType>(std::numeric_limits<std::uint32_t>::max())};
    Bytes const bytes{0, 0, 0, 3, 1, 2, 3, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(to_bytes(value), bytes);
    EXPECT_EQ(from_bytes<datatypes::DT_DiagnosticValuesResultType>(bytes), value);
}

TEST(DiagnosticDataDistribution, NoOperationHasAnErrorOfItsOwn) {
    for (int code = 0; code < 256; ++code) {
        auto const byte = static_cast<unsigned char>(code);
        EXPECT_EQ(Field::Get::GetApplicationErrorExceptionPtr(byte, {1}), nullptr);
        EXPECT_EQ(DiagnosticDataDistribution::getDiagnosticData::GetApplicationErrorExceptionPtr(byte, {1}),
                  nullptr);
        EXPECT_EQ(
            DiagnosticDataDistribution::getDiagnosticDataValues::GetApplicationErrorExceptionPtr(byte, {1}),
            nullptr);
    }
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
