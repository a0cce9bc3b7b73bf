// Every interface: its names, its error, and the exact bytes of its reply.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <string_view>
#include <typeinfo>

#include "binding/generated/all.h"
#include "binding/generated/d_1189.h"
#include "binding/generated/d_118a.h"
#include "binding/generated/d_118b.h"
#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/testing/Payload_checks.h"

namespace zvg::services::diag {
namespace {

using ac::com::someip::serialization::from_bytes;
using ac::com::someip::serialization::Serializer;
using ac::com::someip::serialization::size_estimate;
using ac::com::someip::serialization::to_bytes;
using ac::dm::types::UDSResponseCodeType;
using Payload = std::vector<unsigned char>;

/// A field with the bytes that it takes on the wire, numbered on from `next`.
template <std::size_t N>
Payload fill(Bytes<N>& field, unsigned char& next) {
    std::iota(field.begin(), field.end(), next);
    next = static_cast<unsigned char>(next + N);
    Payload bytes{0, 0, 0, static_cast<unsigned char>(N)};
    bytes.insert(bytes.end(), field.begin(), field.end());
    return bytes;
}
Payload fill(std::vector<std::uint8_t>& field, unsigned char& next) {
    field.resize(300);
    std::iota(field.begin(), field.end(), next);
    Payload bytes{0, 0, 0x01, 0x2C};
    bytes.insert(bytes.end(), field.begin(), field.end());
    return bytes;
}
Payload fill(std::uint8_t& field, unsigned char& next) {
    field = next++;
    return {field};
}
Payload fill(std::uint16_t& field, unsigned char& next) {
    Payload const bytes{next, static_cast<unsigned char>(next + 1)};
    field = static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
    next = static_cast<unsigned char>(next + 2);
    return bytes;
}

struct Interface_case {
    std::string name;
    unsigned dataIdentifier;
    std::size_t fixedSize;            ///< bytes of the reply when its list is empty
    std::vector<std::size_t> fields;  ///< bytes of each array; 0 a list, 108 and 116 numbers of 8 and 16 bits
};

std::vector<Interface_case> const CASES{
    {"DataIdentifier_AuthenticTimeLastClientPackage", 0xB047, 54, {20, 20, 2}},
    {"DataIdentifier_AuthenticTimeLastFailedBackendRequest", 0x15FE, 90, {20, 20, 32, 2}},
    {"DataIdentifier_AuthenticTimeLastValidBackendRequest", 0x15FD, 90, {20, 20, 32, 2}},
    {"DataIdentifier_FunctionOnDemandVersionInfo", 0x017D, 8, {108, 108, 108, 116, 108, 116}},
    {"DataIdentifier_FunctionOnDemandProductList", 0x488C, 9, {1, 0}},
    {"DataIdentifier_FunctionOnDemandProductToFsidAssociation", 0x488B, 10, {2, 0}},
    {"DataIdentifier_FoDSomeipDataBusServiceNotAvailable", 0x117C, 9, {1, 0}},
    {"DataIdentifier_FoDSomeipDataBusServiceImplausible", 0x117E, 9, {1, 0}},
    {"DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived", 0x117D, 9, {1, 0}},
    {"DataIdentifier_FoDManagerExtendedState1", 0x0235, 92, {1, 7, 1, 1, 1, 4, 4, 4, 4, 16, 1, 0}},
    {"DataIdentifier_FoDManagerExtendedState2", 0x0234, 9, {1, 0}},
    {"DataIdentifier_HistoryMemorySynchronization", 0x54DC, 4, {0}},
    {"DataIdentifier_MetadataShadowCopy", 0x54DE, 4, {0}},
    {"DataIdentifier_ParameterList", 0x54DF, 4, {0}},
};

template <class T>
constexpr std::size_t KIND = 0;  // a list
template <std::size_t N>
constexpr std::size_t KIND<Bytes<N>> = N;
template <>
constexpr std::size_t KIND<std::uint8_t> = 108;
template <>
constexpr std::size_t KIND<std::uint16_t> = 116;

/// Calls `visit.operator()<Interface>(case)` for each interface beside its row.
template <class Visit>
void forEachCase(Visit const& visit) {
    std::size_t row = 0;
    Data_identifiers::forEach([&]<class Interface>() {
        SCOPED_TRACE(Interface::NAME);
        visit.template operator()<Interface>(CASES.at(row++));
    });
    EXPECT_EQ(row, CASES.size());
}

// What is checked of an interface is no template, or one of its Output: it would be compiled for each of
// them.

void expectNames(Interface_case const& row, std::string_view shortName, std::string_view name,
                 unsigned dataIdentifier, unsigned description) {
    EXPECT_EQ(shortName, row.name);
    EXPECT_EQ(dataIdentifier, row.dataIdentifier);
    EXPECT_EQ(description, 0x20000U);
    char number[8];
    std::snprintf(number, sizeof number, "%04x", row.dataIdentifier);
    EXPECT_EQ(name, "zvg::services::diag::d_" + std::string(number) + "::" + row.name);
}

TEST(Interfaces, AreFourteenWithTheirNamesAndNumbers) {
    EXPECT_EQ(Data_identifiers::SIZE, 14U);
    forEachCase([]<class Interface>(Interface_case const& row) {
        expectNames(row, Interface::SHORT_NAME, Interface::NAME, Interface::DATA_IDENTIFIER,
                    Interface::DESCRIPTION);
    });
}

template <class Output>
void expectFields(std::vector<std::size_t> const& expected) {
    Output output;
    std::vector<std::size_t> kinds;
    std::apply(
        [&](auto&... field) { (kinds.push_back(KIND<std::remove_reference_t<decltype(field)>>), ...); },
        output.fields());
    EXPECT_EQ(kinds, expected);
}

TEST(Interfaces, OutputsHaveTheirFieldsInOrder) {
    forEachCase([]<class Interface>(Interface_case const& row) {
        expectFields<typename Interface::ReadMethod::Output>(row.fields);
    });
}

template <class Output>
void expectExactBytes() {
    Output output;
    Payload expected;
    unsigned char next = 1;
    auto const append = [&](auto& field) {
        Payload const bytes = fill(field, next);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    };
    std::apply([&](auto&... field) { (append(field), ...); }, output.fields());

    EXPECT_EQ(to_bytes(output), expected);
    EXPECT_EQ(from_bytes<Output>(expected), output);
    expected.pop_back();
    EXPECT_THROW(from_bytes<Output>(expected), std::out_of_range);
}

TEST(Interfaces, OutputsTravelAsTheirExactBytes) {
    forEachCase([]<class Interface>(Interface_case const&) {
        expectExactBytes<typename Interface::ReadMethod::Output>();
    });
}

template <class Output>
void expectZeros(std::size_t fixedSize) {
    Payload const bytes = to_bytes(Output{});
    EXPECT_EQ(bytes.size(), fixedSize);
    EXPECT_EQ(from_bytes<Output>(bytes), Output{});
}

TEST(Interfaces, EmptyOutputsAreZeros) {
    forEachCase([]<class Interface>(Interface_case const& row) {
        expectZeros<typename Interface::ReadMethod::Output>(row.fixedSize);
    });
}

TEST(Interfaces, ReplyOfB047Is54BytesAlthoughItsEstimateIs42) {
    EXPECT_EQ(to_bytes(d_b047::Read::Output{}).size(), 54U);
    EXPECT_EQ(size_estimate<d_b047::Read::Output>(), 42U);
}

TEST(Interfaces, VersionInfoIsEightBareBytes) {
    EXPECT_EQ(to_bytes(d_017d::Read::Output{1, 2, 3, 0x0405, 6, 0x0708}), (Payload{1, 2, 3, 4, 5, 6, 7, 8}));
}

using Find_error = std::exception_ptr(unsigned char error, Payload const& payload);

void expectError(Uds_error const& sut, std::string const& shortName) {
    EXPECT_EQ(sut.what(), shortName + "::UDSServiceFailed::2");
    EXPECT_EQ(sut.error(), 2);
    EXPECT_EQ(sut.code(), UDSResponseCodeType{0x26});
    Payload bytes{0xAA};
    Serializer serializer(bytes);
    sut.serialize(serializer);
    EXPECT_EQ(bytes, (Payload{0xAA, 0x26}));
}

/// `read` finds the error of type `failed` for return code 2, and `cancel` finds none.
void expectFound(Find_error* read, Find_error* cancel, std::type_info const& failed) {
    try {
        std::rethrow_exception(read(2, {0x13}));
    } catch (Uds_error const& error) {
        EXPECT_EQ(typeid(error), failed);
        EXPECT_EQ(error.code(), UDSResponseCodeType{0x13});
    }
    EXPECT_THROW(read(2, {}), std::out_of_range);
    for (unsigned error = 0; error < 256; ++error) {
        auto const code = static_cast<unsigned char>(error);
        EXPECT_EQ(read(code, {1}) != nullptr, error == 2) << error;
        EXPECT_EQ(cancel(code, {1}), nullptr) << error;
    }
}

/// What every interface with an error does, also those that nobody offers.
template <class Read, class Cancel, class Failed>
void expectError(std::string const& shortName) {
    expectError(Failed(UDSResponseCodeType::kFailurePreventsExecutionOfRequestedAction), shortName);
    Uds_error const& received = Failed(Payload{0x13, 0x99});
    EXPECT_EQ(received.code(), UDSResponseCodeType{0x13});
    binding_testing::expectThrow<std::out_of_range>(
        +[] { Failed(Payload{}); }, binding_testing::READ_BEYOND);
    expectFound(&Read::GetApplicationErrorExceptionPtr, &Cancel::GetApplicationErrorExceptionPtr,
                typeid(Failed));
}

TEST(Interfaces, ErrorsCarryTheirCodeAsOneByte) {
    forEachCase([]<class Interface>(Interface_case const& row) {
        expectError<typename Interface::ReadMethod, typename Interface::CancelMethod,
                    Uds_service_failed<Interface>>(row.name);
    });
}

TEST(Interfaces, ThoseWithoutAServerHaveTheirErrorAlone) {
    expectError<d_1189::Read, d_1189::Cancel, d_1189::UDSServiceFailed>(
        "DataIdentifier_IAAPSOMasterSomeipDataBusServiceNotAvailable");
    expectError<d_118a::Read, d_118a::Cancel, d_118a::UDSServiceFailed>(
        "DataIdentifier_IAAPSOMasterSomeipDataBusServiceErrorValueReceived");
    expectError<d_118b::Read, d_118b::Cancel, d_118b::UDSServiceFailed>(
        "DataIdentifier_IAAPSOMasterSomeipDataBusServiceImplausible");
}

struct Routine_case {
    std::string name;
    unsigned routineIdentifier;
    std::string space;  ///< its namespace
};

std::vector<Routine_case> const ROUTINES{
    {"RoutineService_RebuildParameters", 0x0687, "r_0687"},
    {"RoutineService_InitializeParameters", 0x0688, "r_0688"},
    {"RoutineService_TransferParametersFromATN", 0x0689, "r_0689"},
    {"RoutineService_StoreParametersInATN", 0x068A, "r_068a"},
};

TEST(Interfaces, RoutinesAreFourWithTheirNamesNumbersAndErrors) {
    std::size_t row = 0;
    Routines::forEach([&]<class Interface>() {
        SCOPED_TRACE(Interface::NAME);
        Routine_case const& expected = ROUTINES.at(row++);
        EXPECT_EQ(Interface::SHORT_NAME, expected.name);
        EXPECT_EQ(Interface::NAME, "zvg::services::diag::" + expected.space + "::" + expected.name);
        EXPECT_EQ(Interface::ROUTINE_IDENTIFIER, expected.routineIdentifier);
        EXPECT_EQ(Interface::DESCRIPTION, 0x20000U);
        using Failed = Uds_service_failed<Interface>;
        using Cancel = typename Interface::CancelMethod;
        expectError<typename Interface::StartMethod, Cancel, Failed>(expected.name);
        expectError<typename Interface::StopMethod, Cancel, Failed>(expected.name);
        expectError<typename Interface::RequestResultsMethod, Cancel, Failed>(expected.name);
    });
    EXPECT_EQ(row, ROUTINES.size());
}

template <class Output>
void expectOneBareByte() {
    EXPECT_EQ(to_bytes(Output{0x52}), (Payload{0x52}));
    EXPECT_EQ(to_bytes(Output{}), (Payload{0}));
    EXPECT_EQ(from_bytes<Output>({0xFF}), Output{0xFF});
    EXPECT_THROW(from_bytes<Output>({}), std::out_of_range);
}

TEST(Interfaces, OutcomeOfARoutineIsOneBareByte) {
    Routines::forEach(
        []<class Interface>() { expectOneBareByte<typename Interface::RequestResultsMethod::Output>(); });
}

}  // namespace
}  // namespace zvg::services::diag
