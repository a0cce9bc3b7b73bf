#include "codec/crosscheck/Outcome.h"

#include "codec/oracle/Random.h"
#include "codec/oracle/RangeErrors.h"

namespace crosscheck {

using codec::describe::Message;
using oracle::below;
using oracle::Random;

namespace {

constexpr unsigned char PATTERN =
    0x03;  // a count that nothing was read into shows a few elements and no more

void changeBytes(std::vector<unsigned char>& payload, Random& random) {
    for (std::uint64_t changes = 1 + below(random, 4); changes > 0; --changes) {
        // What decides about the rest stands mostly in front.
        const std::uint64_t reach =
            below(random, 2) == 0 ? std::min<std::size_t>(payload.size(), 16) : payload.size();
        payload[below(random, reach)] ^= static_cast<unsigned char>(1 + below(random, 255));
    }
}

std::vector<unsigned char> payloadOf(const oracle::Record& table, Random& random) {
    const std::uint64_t kind = below(random, 10);
    std::vector<unsigned char> record(table.bytes);
    oracle::randomise(table, record.data(), random, kind < 2 ? oracle::Flaws::RARE : oracle::Flaws::NONE);
    std::vector<unsigned char> payload = oracle::rawPayload(table, record.data());
    if (kind == 2 || kind == 3) changeBytes(payload, random);
    if (kind == 4) payload.resize(below(random, payload.size()));
    if (kind == 5)
        payload.resize(payload.size() + 1 + below(random, 8), static_cast<unsigned char>(random()));
    return payload;
}

}  // namespace

Input input(std::uint64_t seed, std::uint64_t index) {
    const auto messages = codec::describe::messages();
    Random random(seed ^ (index * 0x9E3779B97F4A7C15u));
    Input input;
    input.message = &messages[index % messages.size()];
    const oracle::Record& table = *input.message->record;
    input.payload = payloadOf(table, random);
    input.record.resize(table.bytes);
    oracle::randomise(table, input.record.data(), random, oracle::Flaws::RARE);
    input.choice = random();
    return input;
}

Unpacked unpack(const Input& input) {
    Unpacked unpacked;
    unpacked.record.assign(input.message->record->bytes, PATTERN);
    const sQlet1Mod4MessageHdr header{0, input.message->id, static_cast<unsigned>(input.payload.size())};
    const unsigned char none = 0;  // an empty payload still has an address
    const unsigned char* const bytes = input.payload.empty() ? &none : input.payload.data();
    unpacked.code = input.message->unpack(&header, bytes, unpacked.record.data());
    unpacked.rangeErrors = oracle::takeRangeErrors();
    input.message->unpackPayload(&header, bytes, &unpacked.cursor, unpacked.record.data());
    oracle::takeRangeErrors();  // the same again
    return unpacked;
}

Packed pack(const Message& message, const std::vector<unsigned char>& record, std::size_t size) {
    Packed packed;
    packed.buffer.resize(size + 1);  // so that it has an address
    sQlet1Mod4MessageHdr header{};
    packed.code = message.pack(&header, packed.buffer.data(), static_cast<unsigned>(size), record.data());
    packed.length = header.length;
    packed.buffer.pop_back();
    packed.rangeErrors = oracle::takeRangeErrors();
    return packed;
}

std::string text(const Message& message, const std::vector<unsigned char>& record, std::size_t size) {
    if (message.toString == nullptr) return {};
    std::string text(size, '\0');
    message.toString(record.data(), text.data(), size);
    text.resize(text.find('\0') == std::string::npos ? size : text.find('\0'));
    return text;
}

std::string hex(const std::vector<unsigned char>& bytes) {
    static const char* const DIGITS = "0123456789abcdef";
    std::string digits;
    digits.reserve(2 * bytes.size());
    for (const unsigned char byte : bytes) {
        digits += DIGITS[byte >> 4];
        digits += DIGITS[byte & 15];
    }
    return digits;
}

}  // namespace crosscheck
