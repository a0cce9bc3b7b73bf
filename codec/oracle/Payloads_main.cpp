// Writes payloads of every message and what the C++ codec says of them, for the Java codec to say the same:
//
//     ID PAYLOAD CODE CURSOR
//     ID PAYLOAD 0 CURSOR REPACKED SIZE TEXT CUT
//
// with bytes in hexadecimal, `-` for none, TEXT the whole line for the log and CUT what a buffer of SIZE
// keeps of it.

#include "codec/oracle/Random.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>

namespace {

using namespace oracle;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t ROOM = 1 << 20;

std::string hex(const Bytes& bytes) {
    static const char* const DIGITS = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text.empty() ? "-" : text;
}

std::string textIn(std::size_t size, const Message& message, const void* record) {
    if (message.toString == nullptr) return "-";
    static std::vector<char> buffer(ROOM);
    message.toString(record, buffer.data(), size);
    return buffer[0] == '\0' ? "-" : buffer.data();
}

/** A payload: sound, cut, too long or damaged. */
Bytes randomPayload(const Message& message, Random& random) {
    std::vector<std::max_align_t> memory(message.record->bytes / sizeof(std::max_align_t) + 1);
    randomise(*message.record, memory.data(), random, Flaws::RARE);
    Bytes payload = rawPayload(*message.record, memory.data());
    switch (below(random, 6)) {
        case 0:
            payload.resize(below(random, payload.size()));
            break;
        case 1:
            payload.push_back(0);
            break;
        case 2:
            payload[below(random, payload.size())] = static_cast<unsigned char>(random());
            break;
        default:
            break;
    }
    return payload;
}

void tell(const Message& message, const Bytes& payload, Random& random, std::ostream& out) {
    std::vector<std::max_align_t> memory(message.record->bytes / sizeof(std::max_align_t) + 1);
    const sQlet1Mod4MessageHdr header{0, message.id, static_cast<std::uint32_t>(payload.size())};
    const unsigned char none = 0;
    const unsigned char* const bytes = payload.empty() ? &none : payload.data();
    const int code = message.unpack(&header, bytes, memory.data());
    unsigned cursor = 0;
    message.record->unpack(&header, bytes, &cursor, memory.data());
    out << message.id << ' ' << hex(payload) << ' ' << code << ' ' << cursor;
    if (code == eUnpackOk) {
        Bytes repacked(payload.size());
        sQlet1Mod4MessageHdr packing{};
        if (message.pack(&packing, repacked.data(), header.length, memory.data()) != ePackOk) {
            throw std::logic_error("what has been unpacked does not pack");
        }
        const auto size = below(random, 200);
        out << ' ' << hex(repacked) << ' ' << size << ' ' << textIn(ROOM, message, memory.data()) << ' '
            << (size == 0 ? "-" : textIn(size, message, memory.data()));
    }
    out << '\n';
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: codec_payloads FILE\n";
        return 2;
    }
    std::ofstream out(arguments[1]);
    Random random(1);
    for (const Message& message : codec::describe::messages()) {
        for (int round = 0; round < 8; ++round) tell(message, randomPayload(message, random), random, out);
    }
    out.flush();
    if (!out) {
        std::cerr << "codec_payloads: cannot write " << arguments[1] << ": " << std::strerror(errno) << '\n';
        return 1;
    }
}
