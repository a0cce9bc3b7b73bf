#include "servers/did/Response.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace zvg::val::diag_ara::services {

namespace {

constexpr std::uint16_t MESSAGE_ID = 2350;
constexpr unsigned int TEXT_SIZE = 4094;

// The data stands at the record's end; the record may be a byte longer than its fields.
constexpr std::size_t DATA_OFFSET = offsetof(tValDiagnosticsresponseIndds, data);
constexpr std::size_t DATA_SIZE = sizeof(tValDiagnosticsresponseIndds) - DATA_OFFSET;

}  // namespace

template <class... Args>
void Response::out(eLogLevel level, Args... args) const {
    Trace::out(level, m_logPrefix.c_str(), args...);
}

Response::Response(Row const& row, std::string const& logPrefix) : m_row(row), m_logPrefix(logPrefix) {
    static_assert(std::is_trivially_copyable_v<tValDiagnosticsresponseIndds>);
    static_assert(sizeof(tValDiagnosticsresponseIndds) == 4094);
    std::memset(&m_record, 0, sizeof m_record);
    if (m_row.announcement != nullptr) out(level::DETAIL, TRACE_IN(DECODER), m_row.announcement);
}

tUnpackErrorCode Response::unpack(unsigned short length, unsigned char* data) {
    sQlet1Mod4MessageHdr header{};
    header.messageId = MESSAGE_ID;
    header.length = length;
    tUnpackErrorCode const result = UnpackValDiagnosticsresponseInd(&header, data, &m_record);
    if (m_row.tellsResult)
        out(level::DETAIL, TRACE_IN(DECODER), "UnpackValDiagnosticsresponseInd err:", int{result});
    if (result != eUnpackOk) out(level::ERROR, TRACE_IN(DECODER), "unpacking error=", int{result});
    return result;
}

void Response::trace() const {
    std::array<char, TEXT_SIZE> text;
    ToStringtValDiagnosticsresponseIndds(&m_record, text.data(), TEXT_SIZE);
    out(level::DETAIL, TRACE_IN(DECODER), text.data());
}

bool Response::accepted() const {
    for (Check const& check : m_row.checks) {
        bool const identified = !check.identifier || m_record.requestId == m_row.requestId;
        if (identified && m_record.dataLength >= check.min && m_record.dataLength <= check.max) continue;
        if (check.tail == nullptr) {
            out(check.level, TRACE_IN(DECODER), check.text);
        } else {
            out(check.level, TRACE_IN(DECODER), check.text, m_record.dataLength, check.tail);
        }
        return false;
    }
    return true;
}

void Response::take(std::uint8_t& field) {
    field = m_record.data[m_position];
    ++m_position;
}

void Response::take(std::uint16_t& field) {
    std::array<std::uint8_t, 2> bytes{};
    take(bytes);
    field = static_cast<std::uint16_t>(m_count);
}

void Response::take(std::vector<std::uint8_t>& list) {
    if (m_row.countText != nullptr) out(level::DETAIL, TRACE_IN(DECODER), m_row.countText, m_count);
    std::size_t const wanted = m_row.entrySize == 0 ? m_record.dataLength : m_count * m_row.entrySize;
    auto const* const record = reinterpret_cast<unsigned char const*>(&m_record);
    auto const* const begin = record + DATA_OFFSET + m_position;
    list.assign(begin, begin + std::min(wanted, DATA_SIZE - m_position));
    if (m_row.countText != nullptr) trace();
}

}  // namespace zvg::val::diag_ara::services
