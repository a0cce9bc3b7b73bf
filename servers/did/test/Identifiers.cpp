#include "servers/did/test/Identifiers.h"

#include <cctype>
#include <cstdio>
#include <stdexcept>

namespace did_test {

namespace {

std::string digits(std::uint16_t number) {
    char text[5];
    std::snprintf(text, sizeof text, "%04x", unsigned{number});
    return text;
}

Identifier make(char const* component, std::uint16_t number, std::string const& name,
                std::vector<std::size_t> fixed, std::size_t entry, Bytes sample, char const* logPrefix = "") {
    std::string word;
    for (char const c : name) word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return {component,        number, "zvg::services::diag::d_" + digits(number) + "::DataIdentifier_" + name,
            logPrefix + word, fixed,  entry,
            std::move(sample)};
}

Bytes join(Bytes const& head, Bytes const& tail) {
    Bytes all = head;
    all.insert(all.end(), tail.begin(), tail.end());
    return all;
}

// SOME/IP: a length of four bytes, big-endian, in front of an array or a vector.
void frame(Bytes& payload, Bytes const& field) {
    for (unsigned shift : {24U, 16U, 8U, 0U}) {
        payload.push_back(static_cast<std::uint8_t>(field.size() >> shift));
    }
    payload.insert(payload.end(), field.begin(), field.end());
}

Bytes extendedState() {
    Bytes fixed = pattern(43);
    fixed.push_back(2);
    return join(fixed, pattern(62));
}

}  // namespace

std::vector<Identifier> const& identifiers() {
    static std::vector<Identifier> const all{
        make("FSATLCP", 0xB047, "AuthenticTimeLastClientPackage", {20, 20, 2}, 0, pattern(42)),
        make("FSATLFBR", 0x15FE, "AuthenticTimeLastFailedBackendRequest", {20, 20, 32, 2}, 0, pattern(74)),
        make("FCATLVB", 0x15FD, "AuthenticTimeLastValidBackendRequest", {20, 20, 32, 2}, 0, pattern(74)),
        make("FODVI", 0x017D, "FunctionOnDemandVersionInfo", {}, 0, {1, 2, 3, 4, 5, 6, 7, 8}),
        make("FCFODPL", 0x488C, "FunctionOnDemandProductList", {1}, 32, join({2}, pattern(64))),
        make("FSFODPTFA", 0x488B, "FunctionOnDemandProductToFsidAssociation", {2}, 5,
             join({0, 2}, pattern(10))),
        make("FSFODSIDSNA", 0x117C, "FoDSomeipDataBusServiceNotAvailable", {1}, 20, join({3}, pattern(60))),
        make("FSFODSIDSI", 0x117E, "FoDSomeipDataBusServiceImplausible", {1}, 22, join({1}, pattern(22))),
        make("FSFODSIDSEVR", 0x117D, "FoDSomeipDataBusServiceErrorValueReceived", {1}, 22,
             join({2}, pattern(44))),
        make("FSFODMES1", 0x0235, "FoDManagerExtendedState1", {1, 7, 1, 1, 1, 4, 4, 4, 4, 16, 1}, 31,
             extendedState()),
        make("FSFODMES2", 0x0234, "FoDManagerExtendedState2", {1}, 15, join({2}, pattern(30))),
        make("FCHMS", 0x54DC, "HistoryMemorySynchronization", {}, 1, pattern(100), "dataidentifier_"),
        make("FSMDSC", 0x54DE, "MetadataShadowCopy", {}, 1, pattern(37), "dataidentifier_"),
        make("FSPL", 0x54DF, "ParameterList", {}, 1, pattern(250)),
    };
    return all;
}

Identifier const& identifier(std::uint16_t number) {
    for (Identifier const& one : identifiers()) {
        if (one.number == number) return one;
    }
    throw std::out_of_range("no such data identifier");
}

Bytes Identifier::reply(Bytes const& data) const {
    if (number == 0x017D) return data;
    Bytes payload;
    auto position = data.begin();
    for (std::size_t const size : fixed) {
        auto const end = position + static_cast<std::ptrdiff_t>(size);
        frame(payload, Bytes(position, end));
        position = end;
    }
    if (entry != 0) frame(payload, Bytes(position, data.end()));
    return payload;
}

Bytes Identifier::zeros() const {
    return reply(Bytes(headSize()));
}

std::size_t Identifier::headSize() const {
    std::size_t size = number == 0x017D ? 8 : 0;
    for (std::size_t const field : fixed) size += field;
    return size;
}

Bytes pattern(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(1 + i * 7 % 251);
    return bytes;
}

Bytes resized(Bytes data, std::size_t size) {
    data.resize(size);
    return data;
}

Bytes response(std::uint16_t requestId, Bytes const& data) {
    Bytes message;
    // Total length, offset and length say something else than the data: nobody looks at them.
    for (unsigned const field : {unsigned{requestId}, 1U, 2U, 3U, static_cast<unsigned>(data.size())}) {
        message.push_back(static_cast<std::uint8_t>(field));
        message.push_back(static_cast<std::uint8_t>(field >> 8U));
    }
    return join(message, data);
}

void PrintTo(Identifier const& value, std::ostream* stream) {
    *stream << digits(value.number);
}

}  // namespace did_test
