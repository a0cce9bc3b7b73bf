// Runs the hand-written payloads beside this file; java/test does the same with the Java records.

#include "codec/oracle/Compare.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace oracle {

namespace {

struct Vector {
    std::string file;
    int line = 0;
    std::string message;
    std::vector<std::pair<std::string, std::string>> fields;
    std::string text;
    std::string refused;
    std::vector<unsigned char> payload;
};

void PrintTo(const Vector& vector, std::ostream* out) {
    *out << vector.file << ":" << vector.line;
}

/** Hexadecimal bytes; `b0*3` is one byte three times. */
std::vector<unsigned char> bytesOf(const std::string& words) {
    std::vector<unsigned char> bytes;
    std::istringstream in(words);
    for (std::string word; in >> word;) {
        const std::size_t star = word.find('*');
        const std::size_t times = star == std::string::npos ? 1 : std::stoul(word.substr(star + 1));
        bytes.insert(bytes.end(), times,
                     static_cast<unsigned char>(std::stoul(word.substr(0, 2), nullptr, 16)));
    }
    return bytes;
}

std::vector<Vector> vectorsOf(const std::filesystem::path& path) {
    std::vector<Vector> all;
    std::ifstream in(path);
    Vector next;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.empty() || line[0] == '#') continue;
        const std::string keyword = line.substr(0, line.find(' '));
        const std::string rest = line.size() > keyword.size() ? line.substr(keyword.size() + 1) : "";
        if (keyword == "message") {
            next = {path.filename().string(), number, rest, {}, {}, {}, {}};
        } else if (keyword == "refused") {
            next.refused = rest.substr(0, rest.find(' '));
        } else if (keyword == "hex") {
            next.payload = bytesOf(rest);
            all.push_back(next);
        } else if (keyword == "text") {
            next.text = rest.substr(2);
        } else if (keyword != "record") {
            next.fields.emplace_back(keyword, rest.substr(2));
        }
    }
    return all;
}

std::vector<Vector> allVectors() {
    std::vector<Vector> all;
    for (const auto& entry : std::filesystem::directory_iterator(CODEC_VECTORS)) {
        if (entry.path().extension() != ".txt") continue;
        const std::vector<Vector> some = vectorsOf(entry.path());
        all.insert(all.end(), some.begin(), some.end());
    }
    std::sort(all.begin(), all.end(), [](const Vector& a, const Vector& b) {
        return std::tie(a.file, a.line) < std::tie(b.file, b.line);
    });
    return all;
}

std::uint64_t numberOf(const std::string& word) {
    if (word == "true" || word == "false") return word == "true" ? 1 : 0;
    return word[0] == '-' ? static_cast<std::uint64_t>(std::stoll(word, nullptr, 0))
                          : std::stoull(word, nullptr, 0);
}

/** Sets a field, named by the way to it: `coding.Brand`, `pairs[1].value`. */
void set(const Record& table, void* record, const std::string& way, const std::string& value) {
    const std::size_t dot = way.find('.');
    const std::size_t bracket = way.find('[');
    const Field& field = fieldNamed(table, way.substr(0, std::min(dot, bracket)));
    if (dot != std::string::npos) {
        const std::size_t index = bracket < dot ? std::stoul(way.substr(bracket + 1)) : 0;
        auto* const nested =
            static_cast<unsigned char*>(record) + field.memberOffset + index * field.elementBytes();
        set(*field.record, nested, way.substr(dot + 1), value);
    } else if (field.isArray && field.kind == Field::Kind::UNSIGNED && field.wireBits == 8) {
        const std::vector<unsigned char> bytes = bytesOf(value);
        for (std::size_t i = 0; i < bytes.size(); ++i) store(field, record, bytes[i], i);
    } else {
        std::istringstream in(value);
        std::string word;
        for (std::size_t i = 0; std::getline(in >> std::ws, word, ','); ++i)
            store(field, record, numberOf(word), i);
    }
}

int codeOf(const std::string& name) {
    static const std::map<std::string, int> CODES = {{"eUnpackTruncated", eUnpackTruncated},
                                                     {"eUnpackTrailingBytes", eUnpackTrailingBytes},
                                                     {"eUnpackArrayTooLong", eUnpackArrayTooLong},
                                                     {"eUnpackBadEnum", eUnpackBadEnum}};
    return CODES.at(name);
}

}  // namespace

class HandWrittenPayload : public testing::TestWithParam<Vector> {
protected:
    HandWrittenPayload() {
        record.fill(0);
        for (const auto& [way, value] : vector.fields) set(*sut.record, record.get(), way, value);
    }
    ~HandWrittenPayload() override { takeRangeErrors(); }

    const Vector& vector = GetParam();
    const Message& sut = messageNamed(vector.message);
    RecordMemory record = RecordMemory(*sut.record);
    sQlet1Mod4MessageHdr header{0, sut.id, static_cast<std::uint32_t>(vector.payload.size())};
};

class SoundPayload : public HandWrittenPayload {};
class RefusedPayload : public HandWrittenPayload {};
class PayloadWithText : public HandWrittenPayload {};

TEST_P(SoundPayload, IsWhatItsFieldsPackTo) {
    std::vector<unsigned char> buffer(vector.payload.size());
    EXPECT_EQ(sut.packedSize(nullptr, record.get()), vector.payload.size());
    ASSERT_EQ(sut.pack(&header, buffer.data(), header.length, record.get()), ePackOk);
    EXPECT_EQ(header.length, vector.payload.size());
    EXPECT_EQ(buffer, vector.payload);
}

TEST_P(SoundPayload, UnpacksToItsFields) {
    RecordMemory received(*sut.record);
    received.fill(0);
    ASSERT_EQ(sut.unpack(&header, vector.payload.data(), received.get()), eUnpackOk);
    EXPECT_TRUE(received == record);
}

TEST_P(RefusedPayload, IsRefusedWithItsCode) {
    const unsigned char none = 0;
    const unsigned char* const buffer = vector.payload.empty() ? &none : vector.payload.data();
    EXPECT_EQ(sut.unpack(&header, buffer, record.get()), codeOf(vector.refused));
}

TEST_P(PayloadWithText, ReadsAsItsText) {
    std::vector<char> text(4094);
    sut.toString(record.get(), text.data(), text.size());
    EXPECT_EQ(text.data(), vector.text);
}

template <class Predicate>
std::vector<Vector> vectorsThat(Predicate predicate) {
    std::vector<Vector> all = allVectors();
    std::erase_if(all, [&](const Vector& vector) { return !predicate(vector); });
    return all;
}

std::string nameOf(const testing::TestParamInfo<Vector>& info) {
    return info.param.message + "_" + std::filesystem::path(info.param.file).stem().string() + "_" +
           std::to_string(info.param.line);
}

INSTANTIATE_TEST_SUITE_P(Codec, SoundPayload, testing::ValuesIn(vectorsThat([](const Vector& each) {
                             return each.refused.empty();
                         })),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Codec, RefusedPayload, testing::ValuesIn(vectorsThat([](const Vector& each) {
                             return !each.refused.empty();
                         })),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Codec, PayloadWithText, testing::ValuesIn(vectorsThat([](const Vector& each) {
                             return !each.text.empty();
                         })),
                         nameOf);

}  // namespace oracle
