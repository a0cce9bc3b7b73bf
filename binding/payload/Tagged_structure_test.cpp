// Structures whose members carry tags.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/testing/Payload_checks.h"

namespace ac::com::someip::serialization {
namespace {

using binding_testing::expectThrow;
using Bytes = std::vector<unsigned char>;

struct Tagged_members {
    std::uint32_t number = 0;
    std::vector<std::uint8_t> list;
    eb::com::optional<std::uint64_t> extra;
    static constexpr std::array<Structure_tag, 3> TAGS{
        {{Wire_type(2), 0}, {Wire_type(5), 1}, {Wire_type(3), 2}}};
    auto fields() { return std::tie(number, list, extra); }
    auto fields() const { return std::tie(number, list, extra); }
    bool operator==(Tagged_members const&) const = default;
};

/// A structure behind a length field of 4 bytes, as the elements of a list have it.
Serialization_properties const BEHIND_LENGTH{4321, 4, 4, 4};

Bytes framed(Bytes content) {
    Bytes bytes{0, 0, static_cast<unsigned char>(content.size() >> 8U),
                static_cast<unsigned char>(content.size())};
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

Tagged_members readBehindLength(Bytes const& content) {
    return from_bytes<Tagged_members>(framed(content), BEHIND_LENGTH);
}

TEST(Tagged_structure, MembersAreWrittenBehindTheirTags) {
    Tagged_members const value{7, {8, 9}, 1};
    EXPECT_EQ(to_bytes(value, BEHIND_LENGTH), framed({0x20, 0x00, 0, 0, 0, 7,  //
                                                      0x50, 0x01, 2, 8, 9,     //
                                                      0x30, 0x02, 0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(Tagged_structure, EmptyOptionalIsLeftOut) {
    Tagged_members const value{7, {}, {}};
    Bytes const bytes = framed({0x20, 0x00, 0, 0, 0, 7, 0x50, 0x01, 0});
    EXPECT_EQ(to_bytes(value, BEHIND_LENGTH), bytes);
    EXPECT_EQ(from_bytes<Tagged_members>(bytes, BEHIND_LENGTH), value);
}

TEST(Tagged_structure, MembersMayComeInAnyOrder) {
    EXPECT_EQ(readBehindLength({0x30, 2, 0, 0, 0, 0, 0, 0, 0, 1, 0x50, 1, 1, 8, 0x20, 0, 0, 0, 0, 7}),
              (Tagged_members{7, {8}, 1}));
}

TEST(Tagged_structure, TagIsBigEndianWhateverTheNumbersAre) {
    Serialization_properties const little{1234, 4, 4, 4};
    Bytes const bytes = to_bytes(Tagged_members{7, {}, {}}, little);
    EXPECT_EQ(bytes, (Bytes{9, 0, 0, 0, 0x20, 0x00, 7, 0, 0, 0, 0x50, 0x01, 0}));
    EXPECT_EQ(from_bytes<Tagged_members>(bytes, little), (Tagged_members{7, {}, {}}));
}

TEST(Tagged_structure, SenderMayChooseTheSizeOfALengthField) {
    Tagged_members const value{0, {8, 9}, {}};
    EXPECT_EQ(readBehindLength({0x50, 1, 2, 8, 9}), value) << "as configured";
    EXPECT_EQ(readBehindLength({0x60, 1, 0, 2, 8, 9}), value) << "6 where 5 is configured";
    EXPECT_EQ(readBehindLength({0x70, 1, 0, 0, 0, 2, 8, 9}), value);
    EXPECT_EQ(readBehindLength({0x40, 1, 0, 0, 0, 2, 8, 9}), value) << "4: the configured size, 4 bytes";
}

class Wire_types : public testing::TestWithParam<std::tuple<unsigned, unsigned>> {};

TEST_P(Wire_types, DifferOnlyWhereBothHaveALengthField) {
    auto const [source, own] = GetParam();
    auto const check = [source = source, own = own] {
        detail::check_wire_type(Wire_type(source), Wire_type(own));
    };
    if (source == own || (source > 3 && own > 3)) {
        EXPECT_NO_THROW(check());
    } else {
        expectThrow<std::runtime_error>(check, "Invalid source tag wire type");
    }
}

INSTANTIATE_TEST_SUITE_P(All, Wire_types, testing::Combine(testing::Range(0U, 8U), testing::Range(0U, 8U)));

TEST(Tagged_structure, PlainWireTypeWhereALengthFieldIsConfiguredIsRefused) {
    expectThrow<std::runtime_error>(
        [] {
            readBehindLength({0x30, 1, 0, 0, 0, 0, 0, 0, 0, 0});
        },
        "Invalid source tag wire type");
    expectThrow<std::runtime_error>(
        [] {
            readBehindLength({0x50, 0, 4, 0, 0, 0, 0});
        },
        "Invalid source tag wire type");
}

TEST(Tagged_structure, UnknownMembersAreSkippedByTheirSize) {
    Tagged_members const value{7, {}, {}};
    Bytes const number{0x20, 0, 0, 0, 0, 7};
    for (Bytes unknown : {Bytes{0x00, 9, 1}, Bytes{0x10, 9, 1, 2}, Bytes{0x20, 9, 1, 2, 3, 4},
                          Bytes{0x30, 9, 1, 2, 3, 4, 5, 6, 7, 8}, Bytes{0x40, 9, 0, 0, 0, 1, 1},
                          Bytes{0x50, 9, 2, 1, 2}, Bytes{0x60, 9, 0, 1, 1}, Bytes{0x70, 9, 0, 0, 0, 0}}) {
        unknown.insert(unknown.end(), number.begin(), number.end());
        EXPECT_EQ(readBehindLength(unknown), value) << unknown.size();
    }
}

TEST(Tagged_structure, UnknownMemberPastTheBufferIsRefused) {
    for (Bytes const& unknown : {Bytes{0x30, 9, 1}, Bytes{0x50, 9, 2, 1},
                                 Bytes{0x70, 9, 0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0x60, 9, 0, 1}}) {
        expectThrow<std::out_of_range>([&] { readBehindLength(unknown); }, binding_testing::SEEK_BEYOND);
    }
}

TEST(Tagged_structure, MemberPastThePromisedEndIsRefused) {
    Bytes bytes = framed({0x20, 0, 0, 0, 0, 7});
    bytes[3] = 5;
    expectThrow<std::out_of_range>([&] { from_bytes<Tagged_members>(bytes, BEHIND_LENGTH); },
                                   binding_testing::TOO_SMALL);
}

TEST(Tagged_structure, UnknownMemberPastThePromisedEndIsRefused) {
    Bytes bytes = framed({0x30, 9, 1, 2, 3, 4, 5, 6, 7, 8});
    bytes[3] = 4;
    expectThrow<std::out_of_range>([&] { from_bytes<Tagged_members>(bytes, BEHIND_LENGTH); },
                                   binding_testing::TOO_SMALL);
}

TEST(Tagged_structure, TruncatedTagOrMemberIsRefused) {
    Bytes const whole{0x20, 0, 0, 0, 0, 7, 0x50, 1, 2, 8, 9};
    for (std::size_t length = 1; length < whole.size(); ++length) {
        Bytes const part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        if (length == 6) {
            EXPECT_EQ(readBehindLength(part).number, 7U) << "the end of a member";
        } else {
            EXPECT_THROW(readBehindLength(part), std::out_of_range) << length;
        }
    }
}

TEST(Tagged_structure, WithoutALengthFieldGoesToTheEnd) {
    EXPECT_EQ(from_bytes<Tagged_members>({0x20, 0, 0, 0, 0, 7, 0x50, 1, 1, 8}), (Tagged_members{7, {8}, {}}));
}

TEST(Tagged_structure, WireType4NeedsEqualSizes) {
    expectThrow<std::runtime_error>(
        [] {
            from_bytes<Tagged_members>({0x40, 1, 0, 0, 0, 0});
        },
        "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 when wire "
        "type 4 is "
        "used (4, 4, 0)");
}

TEST(Tagged_structure, ListOfThemIsRead) {
    using List = std::vector<Tagged_members>;
    List const list{{1, {}, {}}, {2, {3}, 4}};
    EXPECT_EQ(from_bytes<List>(to_bytes(list, BEHIND_LENGTH), BEHIND_LENGTH), list);
}

}  // namespace
}  // namespace ac::com::someip::serialization
