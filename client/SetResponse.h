#pragma once

#include <cstdint>
#include <vector>

#include "client/Constants.h"
#include "codec/diagmgr.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

/// Fills the buffer of one answer to a set request, item after item, without gaps:
///
///     id      4 bytes   the adaptation, in the machine's byte order
///     length  2 bytes   of the value, in the machine's byte order; 0 if there is none
///     value   length bytes
///
/// An item begun by its id may stay without the rest: then the next item follows right behind the id. One
/// thread; the record belongs to the caller.
class SetResponse : private Constants {
public:
    /// Clears the record and takes over its transaction id.
    SetResponse(tDiagmgrGetAdaptationsetRespds& record, std::uint32_t transactionId);

    /// Whether another item can be begun; it can then be ended in any of the three ways.
    bool hasRoom() const noexcept;
    /// Begins an item.
    void putId(tDiagMgrAdaptationID adaptationId);
    /// Ends the item without value.
    void putNoValue();
    /// Ends the item with a value, or without one, and false, if the value doesn't fit. The value's length is
    /// cut to 16 bits before: of 65536 bytes none are put, and they fit.
    bool putValue(std::vector<unsigned char> const& value);

    /// Sets the record's length. To be called last.
    void finish() noexcept { m_record.length = m_used; }

private:
    void put(void const* bytes, std::uint16_t count);

    tDiagmgrGetAdaptationsetRespds& m_record;
    std::uint16_t m_used = 0;  // bytes of the buffer
};

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
