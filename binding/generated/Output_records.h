// The shapes of what reads and routines give. Fields have no names in the interfaces: their place tells.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

/// Gives a record the list of its fields in the order of the wire, to read and to write.
#define BINDING_FIELDS(...)           \
    auto fields() {                   \
        return std::tie(__VA_ARGS__); \
    }                                 \
    auto fields() const {             \
        return std::tie(__VA_ARGS__); \
    }

namespace zvg::services::diag {

/// Bytes of a fixed number.
template <std::size_t N>
using Bytes = std::array<std::uint8_t, N>;

/// A count of N bytes and the bytes of the entries that it counts.
template <std::size_t N>
struct Counted_list {
    Bytes<N> field1{};
    std::vector<std::uint8_t> field2;
    BINDING_FIELDS(field1, field2)
    bool operator==(Counted_list const&) const = default;
};

/// Bytes that nobody here looks into.
struct Byte_list {
    std::vector<std::uint8_t> field1;
    BINDING_FIELDS(field1)
    bool operator==(Byte_list const&) const = default;
};

/// When a backend was asked, and for what.
struct Backend_request {
    Bytes<20> field1{};
    Bytes<20> field2{};
    Bytes<32> field3{};
    Bytes<2> field4{};
    BINDING_FIELDS(field1, field2, field3, field4)
    bool operator==(Backend_request const&) const = default;
};

/// When a client's package came last.
struct Client_package {
    Bytes<20> field1{};
    Bytes<20> field2{};
    Bytes<2> field3{};
    BINDING_FIELDS(field1, field2, field3)
    bool operator==(Client_package const&) const = default;
};

/// The versions of functions on demand.
struct Version_info {
    std::uint8_t field1 = 0;
    std::uint8_t field2 = 0;
    std::uint8_t field3 = 0;
    std::uint16_t field4 = 0;
    std::uint8_t field5 = 0;
    std::uint16_t field6 = 0;
    BINDING_FIELDS(field1, field2, field3, field4, field5, field6)
    bool operator==(Version_info const&) const = default;
};

/// The state of the manager of functions on demand; field11 counts the entries of field12.
struct Extended_state {
    Bytes<1> field1{};
    Bytes<7> field2{};
    Bytes<1> field3{};
    Bytes<1> field4{};
    Bytes<1> field5{};
    Bytes<4> field6{};
    Bytes<4> field7{};
    Bytes<4> field8{};
    Bytes<4> field9{};
    Bytes<16> field10{};
    Bytes<1> field11{};
    std::vector<std::uint8_t> field12;
    BINDING_FIELDS(field1, field2, field3, field4, field5, field6, field7, field8, field9, field10, field11,
                   field12)
    bool operator==(Extended_state const&) const = default;
};

/// What became of a routine: its status in the upper four bits, its result in the lower four.
struct Routine_outcome {
    std::uint8_t field1 = 0;
    BINDING_FIELDS(field1)
    bool operator==(Routine_outcome const&) const = default;
};

}  // namespace zvg::services::diag
