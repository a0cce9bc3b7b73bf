#pragma once

#include <cstddef>
#include <vector>

namespace ac::com {

/// Reads bytes in order from a container that it refers to, with a bound test for each. Used by one thread.
class Read_buffer {
public:
    explicit Read_buffer(std::vector<unsigned char> const& bytes) noexcept : m_bytes(bytes) {}

    std::size_t position() const noexcept { return m_position; }
    std::size_t size() const noexcept { return m_bytes.size(); }

    /// The position, if `count` bytes are left from there, else std::out_of_range.
    std::size_t throw_if_out_of_range(std::size_t count) const;

    /// Reads one byte. Throws std::invalid_argument for a null destination, std::out_of_range at the end.
    void read(unsigned char* destination);

    /// Moves the position on. Throws std::out_of_range if that leads past the end.
    void skip(std::size_t count);

private:
    std::vector<unsigned char> const& m_bytes;
    std::size_t m_position = 0;
};

}  // namespace ac::com
