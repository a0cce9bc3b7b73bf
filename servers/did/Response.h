#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "codec/diagnostics.h"
#include "core/Trace.h"
#include "servers/did/Row.h"

namespace zvg::val::diag_ara::services {

/// One answer of Java to a read: unpacks it, tests it by the row and copies its data into an Output.
///
/// Lives on the stack of the thread that delivers the answer, for one answer. Nothing but the list of an
/// Output is allocated.
class Response {
public:
    /// Whose lines these are, whichever function of a response writes them.
    static constexpr char const* DECODER = "unpackDiagnosticsresponse";

    /// Both are kept by reference. Writes the row's announcement.
    Response(Row const& row, std::string const& logPrefix);

    /// Reads the payload; a failure is written to the log. Repeats no byte of an earlier answer: what the
    /// payload doesn't give is zero.
    tUnpackErrorCode unpack(unsigned short length, unsigned char* data);

    /// Writes the record as text.
    void trace() const;

    /// Whether the answer is for this identifier and of a permitted length. Writes the reason if not.
    bool accepted() const;

    std::uint16_t requestId() const noexcept { return m_record.requestId; }

    /// Fills the fields, in order: arrays and 8-bit numbers as the bytes come, 16-bit numbers big-endian, and
    /// a list at the end with as many entries as the array before it says.
    ///
    /// The count is not compared with the number of data bytes: bytes behind the data are zeros. The list
    /// ends with the record, so that no count reads beyond it.
    template <class... Fields>
    void copyTo(std::tuple<Fields&...> fields) {
        std::apply([this](auto&... field) { (this->take(field), ...); }, fields);
    }

private:
    template <class... Args>
    void out(eLogLevel level, Args... args) const;

    template <std::size_t n>
    void take(std::array<std::uint8_t, n>& field) {
        m_count = 0;
        for (std::uint8_t& byte : field) {
            take(byte);
            m_count = m_count << 8U | byte;
        }
    }
    void take(std::uint8_t& field);
    void take(std::uint16_t& field);
    void take(std::vector<std::uint8_t>& list);

    Row const& m_row;
    std::string const& m_logPrefix;
    tValDiagnosticsresponseIndds m_record;
    std::size_t m_position = 0;  // in the record's data
    std::size_t m_count = 0;     // the value of the latest array, which counts entries if a list follows
};

}  // namespace zvg::val::diag_ara::services
