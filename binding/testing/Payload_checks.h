#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <list>
#include <string>
#include <typeinfo>
#include <vector>

namespace binding_testing {

inline constexpr char const* READ_BEYOND = "Read beyond the end of the data buffer";
inline constexpr char const* SEEK_BEYOND = "Seek beyond the end of the data buffer";
inline constexpr char const* INVALID_SIZE = "Invalid value for length field size.";
inline constexpr char const* TOO_LONG = "Calculated record length does not fit into configured length field";
inline constexpr char const* INVALID_END = "Deserialization calculated invalid end position.";
inline constexpr char const* TOO_SMALL =
    "Violation of [PRS_SOMEIP_00900]: Record length given by sender is too small. This is possibly due to a "
    "mismatch between the data models of sender and receiver.";

/// Expects an exception of exactly that type and text.
template <class Exception, class Action>
void expectThrow(Action const& action, std::string const& text) {
    try {
        action();
        ADD_FAILURE() << "nothing thrown, expected: " << text;
    } catch (std::exception const& thrown) {
        EXPECT_EQ(typeid(thrown), typeid(Exception)) << typeid(thrown).name();
        EXPECT_EQ(thrown.what(), text);
    }
}

/// Bytes that live as long as the test program, for buffers that refer to them.
inline std::vector<unsigned char> const& bytesOf(std::initializer_list<unsigned char> bytes) {
    static std::list<std::vector<unsigned char>> all;
    return all.emplace_back(bytes);
}

}  // namespace binding_testing
