// A reply's payload taken apart into its fields.
#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "binding/payload/Deserializer.h"
#include "tools/tester/Text.h"

namespace tester {

/// One field of a reply. Interfaces give their fields no names: the position tells them apart.
struct Field {
    enum class Kind : std::uint8_t { array, bytes, number };

    Kind kind = Kind::array;
    std::string type;                  ///< "array<20>", "bytes", "uint16"
    std::vector<unsigned char> value;  ///< without a length field; a number's bytes are big-endian

    std::uint32_t number() const noexcept;
};

/// What a payload holds. With a problem, the fields are those in front of it.
struct Decoded {
    std::vector<Field> fields;
    std::string problem;  ///< names the field, what was expected and what came; empty if all is well
};

/// A field's type without its value.
template <class T>
Field fieldOf() {
    if constexpr (std::is_integral_v<T>) {
        return {Field::Kind::number, "uint" + std::to_string(sizeof(T) * 8), {}};
    } else if constexpr (std::is_same_v<T, std::vector<std::uint8_t>>) {
        return {Field::Kind::bytes, "bytes", {}};
    } else {
        return {Field::Kind::array, "array<" + std::to_string(std::tuple_size_v<T>) + '>', {}};
    }
}

/// Compares the bytes left at `position` with what a field of that kind needs. `size` is a number's or an
/// array's. The result is empty, or tells what was expected and what came.
std::string lengthProblem(Field const& field, std::size_t size, Bytes payload, std::size_t position);

/// What is wrong with bytes behind the last field.
std::string surplus(std::size_t expected, std::size_t received);

/// Reads the next field. False if it doesn't fit, which then is the problem of `decoded`.
template <class T>
bool decodeField(T& value, ac::com::Read_buffer& buffer, std::vector<unsigned char> const& payload,
                 Decoded& decoded) {
    Field field = fieldOf<T>();
    std::size_t const start = buffer.position();
    std::string problem = lengthProblem(field, sizeof(T), payload, start);
    if (!problem.empty()) {
        decoded.problem = "field " + std::to_string(decoded.fields.size() + 1) + " (" + field.type +
                          ") at byte " + std::to_string(start) + ": " + problem;
        return false;
    }
    ac::com::someip::serialization::deserialize_dispatch(value, buffer, {});
    if constexpr (std::is_integral_v<T>) {
        field.value.assign(payload.begin() + std::ptrdiff_t(start),
                           payload.begin() + std::ptrdiff_t(buffer.position()));
    } else {
        field.value.assign(value.begin(), value.end());
    }
    decoded.fields.push_back(std::move(field));
    return true;
}

/// Reads the fields of `Output` from a payload, up to the first that doesn't fit.
template <class Output>
Decoded decodeFields(std::vector<unsigned char> const& payload) {
    ac::com::Read_buffer buffer(payload);
    Decoded decoded;
    Output output{};
    std::apply([&](auto&... field) { (decodeField(field, buffer, payload, decoded) && ...); },
               output.fields());
    if (decoded.problem.empty() && buffer.position() < payload.size()) {
        decoded.problem = surplus(buffer.position(), payload.size());
    }
    return decoded;
}

}  // namespace tester
