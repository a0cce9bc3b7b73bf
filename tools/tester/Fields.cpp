#include "tools/tester/Fields.h"

namespace tester {

namespace {

std::uint32_t bigEndian(Bytes bytes) {
    std::uint32_t number = 0;
    for (unsigned char byte : bytes) number = number << 8U | byte;
    return number;
}

std::string expected(std::string const& what, std::string const& received) {
    return "expected " + what + ", received " + received;
}

}  // namespace

std::uint32_t Field::number() const noexcept {
    return bigEndian(value);
}

std::string lengthProblem(Field const& field, std::size_t size, Bytes payload, std::size_t position) {
    constexpr std::size_t LENGTH_FIELD = 4;
    std::size_t const left = payload.size() - position;
    if (field.kind == Field::Kind::number) {
        return left >= size ? std::string() : expected(counted(size, "byte"), std::to_string(left));
    }
    if (left < LENGTH_FIELD) return expected("a length field of 4 bytes", std::to_string(left));
    std::size_t const announced = bigEndian(payload.subspan(position, LENGTH_FIELD));
    if (field.kind == Field::Kind::array && announced != size) {
        return expected("length " + std::to_string(size), "length " + std::to_string(announced));
    }
    std::size_t const received = left - LENGTH_FIELD;
    if (announced <= received) return {};
    return expected(counted(announced, "byte") + " behind the length field", std::to_string(received));
}

std::string surplus(std::size_t expectedSize, std::size_t received) {
    return expected(counted(expectedSize, "byte"),
                    std::to_string(received) + ": bytes behind the last field");
}

}  // namespace tester
