#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace ac::com::someip::serialization {

/// What follows a tag (SOME/IP, tagged data): 0 to 3 are plain numbers of 8, 16, 32 and 64 bits, 4 is
/// anything with a length field of the configured size, 5 to 7 anything with one of 1, 2 and 4 bytes.
enum class Wire_type : std::uint8_t {};

constexpr unsigned number(Wire_type type) noexcept {
    return static_cast<unsigned>(type);
}

/// Whether a length field stands before the value.
constexpr bool has_length_field(Wire_type type) noexcept {
    return number(type) > 3;
}

/// Bytes of a value without a length field.
constexpr std::size_t plain_size(Wire_type type) noexcept {
    return std::size_t{1} << number(type);
}

/// The tag before a structure's member: 16 bits, big-endian at all times; bit 15 is reserved, then three bits
/// of wire type, then twelve of data id.
struct Structure_tag {
    Wire_type wire_type{};
    std::uint16_t data_id = 0;

    static constexpr Structure_tag from_wire(unsigned bits) noexcept {
        return {static_cast<Wire_type>((bits >> 12U) & 7U), static_cast<std::uint16_t>(bits & 0x0FFFU)};
    }
    constexpr std::uint16_t to_wire() const noexcept {
        return static_cast<std::uint16_t>(number(wire_type) << 12U | (data_id & 0x0FFFU));
    }
    bool operator==(Structure_tag const&) const = default;
};

/// The tags that a structure knows, in the order of its members. Refers to a static table.
class Tag_list {
public:
    template <std::size_t N>
    constexpr Tag_list(std::array<Structure_tag, N> const& tags) noexcept : m_tags(tags) {}

    constexpr bool contains(std::uint16_t data_id) const noexcept {
        return index_of(data_id) < m_tags.size();
    }

    /// Position of the member with that data id; size() if there is none.
    constexpr std::size_t index_of(std::uint16_t data_id) const noexcept {
        std::size_t index = 0;
        while (index < m_tags.size() && m_tags[index].data_id != data_id) {
            ++index;
        }
        return index;
    }

    constexpr std::size_t size() const noexcept { return m_tags.size(); }
    constexpr Structure_tag const& operator[](std::size_t index) const noexcept { return m_tags[index]; }

private:
    std::span<Structure_tag const> m_tags;
};

}  // namespace ac::com::someip::serialization
