#include "codec/TextForm.h"

#include "codec/codec.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

VALDiagnosticsResponse_t response(unsigned dataLength) {
    VALDiagnosticsResponse_t record{};
    record.requestId = 381;
    record.totalLength = 2;
    record.length = 2;
    record.dataLength = static_cast<std::uint16_t>(dataLength);
    for (std::size_t i = 0; i < sizeof record.data; ++i)
        record.data[i] = static_cast<std::uint8_t>(0x11 * (i + 1));
    return record;
}

template <class Record, class ToString>
std::string rendered(const Record& record, ToString toString, std::size_t size = 4094) {
    std::vector<char> buffer(size, 'x');
    toString(&record, buffer.data(), size);
    return buffer.data();
}

std::string textOf(const VALDiagnosticsResponse_t& record, std::size_t size = 4094) {
    return rendered(record, ToStringVALDiagnosticsResponse_t, size);
}

/** Fills a form of `size` characters and returns its text. */
template <class Fill>
std::string formOf(std::size_t size, Fill fill) {
    std::vector<char> buffer(size + 1, '\x7f');
    TextForm form(buffer.data(), size);
    fill(form);
    EXPECT_EQ(buffer.back(), '\x7f') << "written beyond the buffer";
    return buffer.data();
}

struct Nested {
    std::array<std::uint16_t, 8> words;
};

void appendText(TextForm& text, const Nested& nested) {
    text.addArray<std::uint16_t>("w", nested.words.data(), nested.words.size(), nested.words.size());
}

TEST(RecordText, NamesEachFieldInOrderWithoutSpaces) {
    EXPECT_EQ(textOf(response(2)),
              "requestId:381;totalLength:2;offset:0;length:2;dataLength:2;data[2]:11,22;");
}

TEST(RecordText, ASingleElementEndsInASemicolon) {
    EXPECT_EQ(textOf(response(1)), "requestId:381;totalLength:2;offset:0;length:2;dataLength:1;data[1]:11;");
}

TEST(RecordText, AnEmptyArrayIsItsBracketAlone) {
    EXPECT_EQ(textOf(response(0)), "requestId:381;totalLength:2;offset:0;length:2;dataLength:0;data[0]:");
    const std::string text = formOf(100, [](TextForm& form) {
        form.addUnsigned("valueLength", 0);
        const std::uint8_t none = 0;
        form.addArray<std::uint8_t>("value", &none, 0, 1);
        form.addUnsigned("state", 1);
    });
    EXPECT_EQ(text, "valueLength:0;value[0]:state:1;");
}

TEST(RecordText, ALongArrayShowsTwentyElementsAndItsFullCount) {
    const std::string twenty = "11,22,33,44,55,66,77,88,99,aa,bb,cc,dd,ee,ff,10,21,32,43,54;";
    const std::string head = "requestId:381;totalLength:2;offset:0;length:2;";
    EXPECT_EQ(textOf(response(20)), head + "dataLength:20;data[20]:" + twenty);
    EXPECT_EQ(textOf(response(21)), head + "dataLength:21;data[21]:" + twenty);
    EXPECT_EQ(textOf(response(4083)), head + "dataLength:4083;data[4083]:" + twenty);
}

TEST(RecordText, PrintsTheSignOfA64BitIntegerAndTheNumberOfABadEnumeration) {
    VALDTCStatus_t record{};
    record.dtc_id = -5;
    record.status = static_cast<tVALDTCStatus>(0xFFFFFFFF);
    EXPECT_EQ(rendered(record, ToStringVALDTCStatus_t), "dtc_id:-5;status:-1;");
}

TEST(RecordText, OfSmallRecordsIsOneValue) {
    EXPECT_EQ(rendered(VALNull_t{7}, ToStringVALNull_t), "value:7;");
    EXPECT_EQ(rendered(VALUInt8_t{255}, ToStringVALUInt8_t), "value:255;");
    EXPECT_EQ(rendered(VALUInt16_t{65535}, ToStringVALUInt16_t), "value:65535;");
    EXPECT_EQ(rendered(VALBool_t{0}, ToStringVALBool_t), "value:false;");
    EXPECT_EQ(rendered(VALBool_t{2}, ToStringVALBool_t), "value:true;");
    EXPECT_EQ(rendered(VALNetworkServiceStatusDiag_t{}, ToStringVALNetworkServiceStatusDiag_t),
              "serviceStateDiag:0;");
}

TEST(RecordText, OfAForwarderIsItsDataTypes) {
    const auto record = response(2);
    EXPECT_EQ(rendered(record, ToStringtValDiagnosticsresponseIndds), textOf(record));
    EXPECT_EQ(rendered(VALNull_t{1}, ToStringtValDiagMeasurementTimerIndds), "value:1;");
}

TEST(RecordText, OfBytesIsThePrefixThatFits) {
    const auto record = response(5);
    const std::string whole = textOf(record);
    for (std::size_t size = 1; size <= whole.size() + 3; ++size) {
        EXPECT_EQ(textOf(record, size), whole.substr(0, size - 1)) << size;
    }
}

TEST(RecordText, InABufferOf16BytesIsCutInOrAfterTheFirstField) {
    VALDTCStatus_t record{};
    record.dtc_id = 1234567890123;
    EXPECT_EQ(rendered(record, ToStringtValDiagmgrJavaSetDtcStatusIndds, 16), "dtc_id:12345678");
    record.dtc_id = 1;
    EXPECT_EQ(rendered(record, ToStringtValDiagmgrJavaSetDtcStatusIndds, 16), "dtc_id:1;status");
}

TEST(RecordText, InABufferOf1ByteIsEmpty) {
    EXPECT_EQ(textOf(response(2), 1), "");
}

TEST(RecordText, WithoutABufferWritesNothing) {
    char byte = 'x';
    ToStringVALUInt8_t(nullptr, nullptr, 5);
    const VALUInt8_t record{1};
    ToStringVALUInt8_t(&record, &byte, 0);
    EXPECT_EQ(byte, 'x');
}

TEST(RecordText, NothingFollowsAnElementWithLittleRoomLeft) {
    // 16-bit elements count 3 characters each, whatever their length: 13 characters hold "w[8]:" and, with 8
    // left, elements until fewer than 4 are left before one: 8, 5, 2.
    const Nested nested{{1, 2, 3, 4, 5, 6, 7, 8}};
    const std::string text = formOf(13, [&](TextForm& form) {
        form.addRecord(nested);
        form.addUnsigned("after", 1);
    });
    EXPECT_EQ(text, "w[8]:1,2,3");
}

TEST(RecordText, ACutInsideANestedRecordEndsTheWholeText) {
    const Nested nested{{1, 2, 3, 4, 5, 6, 7, 8}};
    const std::string text = formOf(14, [&](TextForm& form) {
        form.addRecords("n", &nested, 1, 1);
        form.addUnsigned("a", 1);
        form.addRecord(nested);
    });
    EXPECT_EQ(text, "n[1]:w[8]:1,");
}

TEST(RecordText, LongElementsNeverLeaveTheBuffer) {
    std::array<std::uint32_t, 20> longs{};
    longs.fill(static_cast<std::uint32_t>(-2147483647));
    for (std::size_t size = 1; size < 300; ++size) {
        const std::string text = formOf(size, [&](TextForm& form) {
            form.addArray<std::uint32_t>("values", longs.data(), longs.size(), longs.size());
            form.addUnsigned("after", 1);
        });
        EXPECT_LT(text.size(), size);
    }
}

TEST(RecordText, OfIntegersFollowsTheirWidth) {
    const std::string text = formOf(200, [](TextForm& form) {
        const std::array<std::uint16_t, 2> words = {0, 65535};
        const std::array<std::uint32_t, 2> longs = {1, 0xFFFFFFFF};
        form.addArray<std::uint16_t>("words", words.data(), 2, 2);
        form.addArray<std::uint32_t>("longs", longs.data(), 2, 2);
    });
    EXPECT_EQ(text, "words[2]:0,65535;longs[2]:1,-1;");
}

TEST(RecordText, ABadCountShowsButReadsNoElementBeyondTheArray) {
    const std::array<std::uint8_t, 4> bytes = {1, 2, 3, 4};
    const std::string text = formOf(
        100, [&](TextForm& form) { form.addArray<std::uint8_t>("data", bytes.data(), 9, bytes.size()); });
    EXPECT_EQ(text, "data[9]:01,02,03,04;");
}

}  // namespace
