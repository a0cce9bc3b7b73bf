#include "binding/payload/Read_buffer.h"

#include <stdexcept>

namespace ac::com {

std::size_t Read_buffer::throw_if_out_of_range(std::size_t count) const {
    if (count > m_bytes.size() - m_position) {
        throw std::out_of_range("Read beyond the end of the data buffer");
    }
    return m_position;
}

void Read_buffer::read(unsigned char* destination) {
    if (destination == nullptr) {
        throw std::invalid_argument("destination cannot be NULL");
    }
    *destination = m_bytes[throw_if_out_of_range(1)];
    ++m_position;
}

void Read_buffer::skip(std::size_t count) {
    if (count > m_bytes.size() - m_position) {
        throw std::out_of_range("Seek beyond the end of the data buffer");
    }
    m_position += count;
}

}  // namespace ac::com
