#include "tools/tester/Targets.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/Payloads.h"

namespace tester {
namespace {

using testing::HasSubstr;

struct Row {
    std::uint16_t number;
    char const* service;
    char const* types;     // of the fields, in order
    std::size_t smallest;  // reply without entries, on the wire
};

class EveryIdentifier : public testing::TestWithParam<Row> {};

constexpr Row ROWS[] = {
    {0xB047, "zvg::services::diag::d_b047::DataIdentifier_AuthenticTimeLastClientPackage",
     "array<20> array<20> array<2> ", 54},
    {0x15FE, "zvg::services::diag::d_15fe::DataIdentifier_AuthenticTimeLastFailedBackendRequest",
     "array<20> array<20> array<32> array<2> ", 90},
    {0x15FD, "zvg::services::diag::d_15fd::DataIdentifier_AuthenticTimeLastValidBackendRequest",
     "array<20> array<20> array<32> array<2> ", 90},
    {0x017D, "zvg::services::diag::d_017d::DataIdentifier_FunctionOnDemandVersionInfo",
     "uint8 uint8 uint8 uint16 uint8 uint16 ", 8},
    {0x488C, "zvg::services::diag::d_488c::DataIdentifier_FunctionOnDemandProductList", "array<1> bytes ", 9},
    {0x488B, "zvg::services::diag::d_488b::DataIdentifier_FunctionOnDemandProductToFsidAssociation",
     "array<2> bytes ", 10},
    {0x117C, "zvg::services::diag::d_117c::DataIdentifier_FoDSomeipDataBusServiceNotAvailable",
     "array<1> bytes ", 9},
    {0x117E, "zvg::services::diag::d_117e::DataIdentifier_FoDSomeipDataBusServiceImplausible",
     "array<1> bytes ", 9},
    {0x117D, "zvg::services::diag::d_117d::DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived",
     "array<1> bytes ", 9},
    {0x0235, "zvg::services::diag::d_0235::DataIdentifier_FoDManagerExtendedState1",
     "array<1> array<7> array<1> array<1> array<1> array<4> array<4> array<4> array<4> array<16> array<1> "
     "bytes ",
     92},
    {0x0234, "zvg::services::diag::d_0234::DataIdentifier_FoDManagerExtendedState2", "array<1> bytes ", 9},
    {0x54DC, "zvg::services::diag::d_54dc::DataIdentifier_HistoryMemorySynchronization", "bytes ", 4},
    {0x54DE, "zvg::services::diag::d_54de::DataIdentifier_MetadataShadowCopy", "bytes ", 4},
    {0x54DF, "zvg::services::diag::d_54df::DataIdentifier_ParameterList", "bytes ", 4},
};

/// A reply of zeros with the fields of `types`.
Payload zeros(std::string const& types) {
    Payload payload;
    for (std::size_t at = 0; at < types.size(); at = types.find(' ', at) + 1) {
        std::string const type = types.substr(at, types.find(' ', at) - at);
        if (type == "bytes") payload = payload + withLength({});
        if (type.starts_with("array<"))
            payload = payload + withLength(Payload(std::stoul(type.substr(6)), 0));
        if (type.starts_with("uint")) payload = payload + Payload(std::stoul(type.substr(4)) / 8, 0);
    }
    return payload;
}

TEST_P(EveryIdentifier, HasItsNumberNameAndFields) {
    Row const& row = GetParam();
    Target const* identifier = dataIdentifiers().find(hexNumber(row.number));
    ASSERT_NE(identifier, nullptr);
    EXPECT_EQ(identifier->number, row.number);
    EXPECT_EQ(identifier->service, row.service);
    EXPECT_TRUE(identifier->service.ends_with("::" + identifier->interface));
    // And a reply of the right fields is read whole
    Payload const payload = zeros(row.types);
    EXPECT_EQ(payload.size(), row.smallest);
    Decoded const decoded = identifier->decode(payload);
    EXPECT_EQ(decoded.problem, "");
    std::string types;
    for (auto const& field : decoded.fields) types += field.type + ' ';
    EXPECT_EQ(types, row.types);
}

TEST_P(EveryIdentifier, IsFoundByEveryNameInAnyCase) {
    Target const* identifier = dataIdentifiers().find(hexNumber(GetParam().number));
    ASSERT_NE(identifier, nullptr);
    std::string const digits = hexNumber(GetParam().number).substr(2);
    std::string upper = identifier->shortName;
    for (char& letter : upper) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    for (std::string const& name :
         {"0X" + digits, digits, "d_" + digits, identifier->interface, identifier->shortName, upper}) {
        EXPECT_EQ(dataIdentifiers().find(name), identifier) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(All, EveryIdentifier, testing::ValuesIn(ROWS),
                         [](auto const& each) { return hexNumber(each.param.number); });

TEST(DataIdentifiers, AreFourteenDifferentOnes) {
    std::set<std::uint32_t> numbers;
    for (auto const& each : dataIdentifiers()) numbers.insert(each.number);
    EXPECT_EQ(numbers.size(), 14U);
    EXPECT_EQ(dataIdentifiers().size(), 14U);
}

TEST(DataIdentifiers, LeadingZerosMayBeLeftOut) {
    EXPECT_EQ(dataIdentifiers().find("17d"), dataIdentifiers().find("0x017D"));
}

TEST(DataIdentifiers, NonsenseIsNotFound) {
    for (char const* text :
         {"", "0x", "d_", "b048", "0xB0470", "-1", "0x-1", "B0 47", "DataIdentifier_", "1189"}) {
        EXPECT_EQ(dataIdentifiers().find(text), nullptr) << text;
    }
}

TEST(DataIdentifiers, UnknownOneIsToldWithAllThatAreKnown) {
    std::string const message = dataIdentifiers().unknown("b048");
    EXPECT_TRUE(message.starts_with("'b048' is no data identifier\n")) << message;
    for (auto const& each : dataIdentifiers()) {
        EXPECT_THAT(message, HasSubstr(hexNumber(each.number) + "  " + each.shortName));
    }
}

TEST(DataIdentifiers, DecimalNumberGetsAHint) {
    EXPECT_THAT(dataIdentifiers().unknown("45127"),
                HasSubstr("numbers are hexadecimal: do you mean 0xB047?"));
}

TEST(Routines, AreFourWithTheirNumbersAndNames) {
    struct {
        char const* id;
        char const* service;
    } const rows[] = {{"0x0687", "zvg::services::diag::r_0687::RoutineService_RebuildParameters"},
                      {"0x0688", "zvg::services::diag::r_0688::RoutineService_InitializeParameters"},
                      {"0x0689", "zvg::services::diag::r_0689::RoutineService_TransferParametersFromATN"},
                      {"0x068A", "zvg::services::diag::r_068a::RoutineService_StoreParametersInATN"}};
    EXPECT_EQ(routines().size(), 4U);
    for (auto const& [id, service] : rows) {
        Target const* routine = routines().find(id);
        ASSERT_NE(routine, nullptr) << id;
        EXPECT_EQ(routine->id, id);
        EXPECT_EQ(routine->service, service);
        EXPECT_EQ(routine->instance, "1");
        EXPECT_EQ(routine->version, 0x20000U);
        EXPECT_EQ(routine->decode({0x51}).fields.at(0).number(), 0x51U);
        EXPECT_EQ(routines().find(routine->shortName), routine);
        EXPECT_EQ(routines().find("r_" + routine->id.substr(2)), routine);
    }
}

TEST(TroubleCodes, AreFoundByDecimalAndHexadecimalNumbers) {
    EXPECT_EQ(troubleCodes().size(), 3U);
    for (char const* name : {"8495840", "0x81A2E0", "81a2e0", "0X81a2e0"}) {
        Target const* code = troubleCodes().find(name);
        ASSERT_NE(code, nullptr) << name;
        EXPECT_EQ(code->number, 8495840U);
        EXPECT_EQ(code->id, "0x81A2E0");
        EXPECT_EQ(code->shortName, "8495840");
        EXPECT_EQ(code->instance, "\u202D8495840\u202C");
        EXPECT_EQ(code->service, "ac::dm::dem::DiagnosticMonitor");
        EXPECT_EQ(code->version, 0x20000U);
    }
    for (char const* name : {"8495843", "0x8495840", "DiagnosticMonitor", "", "\u202D8495840\u202C"}) {
        EXPECT_EQ(troubleCodes().find(name), nullptr) << name;
    }
}

}  // namespace
}  // namespace tester
