#include "client/SetResponse.h"

#include <cstring>

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

namespace {
constexpr unsigned int CAPACITY = sizeof(tDiagmgrGetAdaptationsetRespds::data);
static_assert(CAPACITY == 4032);
}  // namespace

SetResponse::SetResponse(tDiagmgrGetAdaptationsetRespds& record, std::uint32_t transactionId)
    : m_record(record) {
    m_record = {};
    m_record.transactionId = transactionId;
}

bool SetResponse::hasRoom() const noexcept {
    return m_used + unsigned{MIN_SPACE_FOR_ADAP_ID} <= CAPACITY;
}

void SetResponse::putId(tDiagMgrAdaptationID adaptationId) {
    static_assert(sizeof adaptationId == ADAP_ID_INCR);
    put(&adaptationId, ADAP_ID_INCR);
}

void SetResponse::putNoValue() {
    static_assert(sizeof LENGTH_ZERO == LEN_INCR);
    put(&LENGTH_ZERO, LEN_INCR);
}

bool SetResponse::putValue(std::vector<unsigned char> const& value) {
    auto const length = static_cast<std::uint16_t>(value.size());
    // The sum is not cut: in 16 bits 65534 bytes would seem to fit.
    if (unsigned{m_used} + LEN_INCR + length > CAPACITY) {
        putNoValue();
        return false;
    }
    put(&length, LEN_INCR);
    put(value.data(), length);
    return true;
}

void SetResponse::put(void const* bytes, std::uint16_t count) {
    if (count == 0) return;
    std::memcpy(m_record.data + m_used, bytes, count);
    m_used = static_cast<std::uint16_t>(m_used + count);
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
