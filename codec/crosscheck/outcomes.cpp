// Prints what the generated codec makes of random payloads.
//
//   codec_outcomes digest SEED FIRST COUNT        a line for every thousand inputs: the first one's index and
//   a
//                                                 digest of all
//   codec_outcomes fields SEED FIRST COUNT        everything that goes into the digest
//   codec_outcomes rows SEED FIRST COUNT [FILE]   the seed, and a line for each input, for the Java side
//
// SEED is a number or `random`. Without FILE it goes to standard output.

#include "codec/crosscheck/Outcome.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string_view>

namespace crosscheck {

namespace {

constexpr std::uint64_t BLOCK = 1000;

void appendFields(std::string& lines, const oracle::Record& table, const void* record,
                  const std::string& path) {
    for (const oracle::Field& field : table.fields) {
        const oracle::Field* const counting = oracle::countOf(table, field);
        const std::uint64_t count = counting != nullptr ? oracle::load(*counting, record) : field.capacity;
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, field.capacity); ++i) {
            std::string name = path + std::string(field.name);
            if (field.isArray) name += "[" + std::to_string(i) + "]";
            if (field.record != nullptr) {
                appendFields(
                    lines, *field.record,
                    static_cast<const unsigned char*>(record) + field.memberOffset + i * field.elementBytes(),
                    name + ".");
            } else {
                lines += "  " + name + " " + std::to_string(oracle::load(field, record, i)) + "\n";
            }
        }
    }
}

void appendErrors(std::string& lines, const std::vector<oracle::RangeError>& errors) {
    for (const auto& [name, value] : errors)
        lines += "  not of " + name + ": " + std::to_string(value) + "\n";
}

void appendPacked(std::string& lines, const Packed& packed) {
    lines += "  code " + std::to_string(packed.code) + " length " + std::to_string(packed.length) +
             "\n  buffer " + hex(packed.buffer) + "\n";
    appendErrors(lines, packed.rangeErrors);
}

/** One difference shows in one line of it. */
std::string allOf(const Input& input, std::uint64_t index) {
    const codec::describe::Message& message = *input.message;
    std::string lines = "input " + std::to_string(index) + ": message " + std::to_string(message.id) + " " +
                        std::string(message.name) + "\n  payload " + hex(input.payload) + "\n";
    const Unpacked unpacked = unpack(input);
    lines += "unpacked: code " + std::to_string(unpacked.code) + "\n";
    appendErrors(lines, unpacked.rangeErrors);
    appendFields(lines, *message.record, unpacked.record.data(), "");
    lines += "  text " + text(message, unpacked.record, TEXT_ROOM) + "\n";
    lines += "  cut text " + text(message, unpacked.record, input.choice % 200) + "\n";
    const std::uint64_t size = message.packedSize(nullptr, input.record.data());
    lines += "packed: size " + std::to_string(size) + "\n";
    appendPacked(lines, pack(message, input.record, size));
    appendPacked(lines, pack(message, input.record, input.choice % (size + 1)));
    return lines;
}

/** Its columns are index, id, payload, code, cursor; and if the record was filled: its text, SIZE, the text
 * in a buffer of SIZE (the whole of it at most, which takes one byte more than the text), packed again, a
 * smaller SIZE, the same into a buffer of that. */
std::string rowOf(const Input& input, std::uint64_t index) {
    const codec::describe::Message& message = *input.message;
    const Unpacked unpacked = unpack(input);
    std::string row = std::to_string(index) + "\t" + std::to_string(message.id) + "\t" + hex(input.payload) +
                      "\t" + std::to_string(unpacked.code) + "\t" + std::to_string(unpacked.cursor);
    if (!unpacked.isFilled()) return row + "\n";
    const std::uint64_t size = message.packedSize(nullptr, unpacked.record.data());
    const std::uint64_t less = input.choice % size;
    const std::string whole = text(message, unpacked.record, TEXT_ROOM);
    const std::uint64_t room = input.choice / size % (whole.size() + 2);
    row += "\t" + whole + "\t" + std::to_string(room) + "\t" + text(message, unpacked.record, room);
    row += "\t" + hex(pack(message, unpacked.record, size).buffer);
    row += "\t" + std::to_string(less) + "\t" + hex(pack(message, unpacked.record, less).buffer);
    return row + "\n";
}

/** FNV-1a. */
std::uint64_t digested(std::uint64_t digest, std::string_view text) {
    for (const char each : text) digest = (digest ^ static_cast<unsigned char>(each)) * 0x100000001B3u;
    return digest;
}

void print(std::FILE* out, std::string_view form, std::uint64_t seed, std::uint64_t first,
           std::uint64_t count) {
    constexpr std::uint64_t START = 0xCBF29CE484222325u;
    std::uint64_t digest = START;
    if (form == "rows") std::fprintf(out, "seed %" PRIu64 "\n", seed);
    for (std::uint64_t index = first; index < first + count; ++index) {
        const Input each = input(seed, index);
        if (form == "digest") {
            digest = digested(digest, allOf(each, index));
            if ((index + 1) % BLOCK != 0 && index + 1 != first + count) continue;
            std::fprintf(out, "%" PRIu64 " %016" PRIx64 "\n", index / BLOCK * BLOCK, digest);
            digest = START;
        } else {
            std::fputs((form == "rows" ? rowOf(each, index) : allOf(each, index)).c_str(), out);
        }
    }
}

std::uint64_t numberOf(const char* word) {
    return std::strtoull(word, nullptr, 10);
}

}  // namespace

}  // namespace crosscheck

int main(int count, char** arguments) {
    using namespace crosscheck;
    const std::string_view form = count == 5 || count == 6 ? arguments[1] : "";
    if (form != "digest" && form != "fields" && form != "rows") {
        std::fputs("usage: codec_outcomes digest|fields|rows SEED|random FIRST COUNT [FILE]\n", stderr);
        return 2;
    }
    std::FILE* const out = count == 6 ? std::fopen(arguments[5], "w") : stdout;
    const std::uint64_t seed =
        std::string_view(arguments[2]) == "random" ? std::random_device{}() : numberOf(arguments[2]);
    if (out != nullptr) print(out, form, seed, numberOf(arguments[3]), numberOf(arguments[4]));
    if (out == nullptr || std::ferror(out) != 0 || std::fclose(out) != 0) {
        std::fprintf(stderr, "codec_outcomes: can't write %s: %s\n", count == 6 ? arguments[5] : "the output",
                     std::strerror(errno));
        return 1;
    }
}
