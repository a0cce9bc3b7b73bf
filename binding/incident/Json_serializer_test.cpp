#include "binding/incident/Json_serializer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <array>

namespace ac::com::json::serialization {
namespace {

using ac::com::someip::serialization::Structure_tag;
using ac::com::someip::serialization::Wire_type;

enum class Colour : std::uint8_t { red = 3 };

struct Record {
    std::array<std::uint8_t, 2> array{1, 2};
    std::vector<std::uint8_t> list{3};
    std::uint16_t number = 4;
    auto fields() const { return std::tie(array, list, number); }
};

struct Tagged {
    std::uint32_t number = 7;
    eb::com::optional<std::uint8_t> extra;
    static constexpr std::array<Structure_tag, 2> TAGS{{{Wire_type(2), 0}, {Wire_type(0), 5}}};
    auto fields() { return std::tie(number, extra); }
    auto fields() const { return std::tie(number, extra); }
};

template <class T>
std::string textOf(T const& value) {
    nlohmann::json json;
    Json_serializer::serialize(value, json);
    return json.dump();
}

TEST(Json_serializer, PrintsNumbersAndEnumerationsAsNumbers) {
    EXPECT_EQ(textOf(std::uint8_t{200}), "200");
    EXPECT_EQ(textOf(std::int32_t{-5}), "-5");
    EXPECT_EQ(textOf(Colour::red), "3");
    EXPECT_EQ(textOf(true), "true");
}

TEST(Json_serializer, PrintsArraysAndVectorsOfBytesAsLists) {
    EXPECT_EQ(textOf(std::array<std::uint8_t, 3>{1, 2, 255}), "[1,2,255]");
    EXPECT_EQ(textOf(std::vector<std::uint8_t>{}), "[]");
}

TEST(Json_serializer, PrintsOptionalsAsTheirValueOrNull) {
    EXPECT_EQ(textOf(eb::com::optional<std::uint8_t>(7)), "7");
    EXPECT_EQ(textOf(eb::com::optional<std::uint8_t>()), "null");
}

TEST(Json_serializer, PrintsAStructureAsTheListOfItsFields) {
    EXPECT_EQ(textOf(Record{}), "[[1,2],[3],4]");
}

TEST(Json_serializer, PrintsTheTagBesideATaggedMember) {
    EXPECT_EQ(textOf(Tagged{}),
              R"([{"_1WireType":2,"_2DataID":0,"_3Value":7},{"_1WireType":0,"_2DataID":5,"_3Value":null}])");
}

TEST(Json_serializer, PrintsStringsAndMapsOfThem) {
    EXPECT_EQ(textOf(std::string("a")), "\"a\"");
    EXPECT_EQ(textOf(std::map<std::string, std::string>{{"a", "b"}}), R"({"a":"b"})");
}

}  // namespace
}  // namespace ac::com::json::serialization
