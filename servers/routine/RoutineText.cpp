#include "servers/routine/RoutineText.h"

#include <algorithm>
#include <span>

namespace zvg::val::diag_ara {

namespace {

/// Builds the text of a record, field by field.
class RecordText {
public:
    RecordText& add(char const* name, std::uint32_t value) {
        return begin(name).append(std::to_string(value));
    }

    RecordText& add(char const* name, std::span<std::uint8_t const> bytes) {
        static constexpr char DIGITS[] = "0123456789abcdef";
        begin(name).append("{");
        char const* separator = "";
        for (std::uint8_t const byte : bytes) {
            m_text.append(separator).append({DIGITS[byte >> 4U], DIGITS[byte & 0xFU]});
            separator = " ";
        }
        return append("}");
    }

    std::string const& text() const { return m_text; }

private:
    RecordText& begin(char const* name) {
        return append(m_text.empty() ? "." : ", .").append(name).append(" = ");
    }
    RecordText& append(std::string const& text) {
        m_text += text;
        return *this;
    }

    std::string m_text;
};

template <std::size_t N>
std::span<std::uint8_t const> counted(std::uint8_t const (&bytes)[N], std::uint32_t count) {
    return {bytes, std::min<std::size_t>(count, N)};
}

}  // namespace

std::string print_DiagRoutineRequest(tDiagmgrJavaRoutineReqds const& request) {
    return RecordText()
        .add("routineId", request.routineId)
        .add("transactionId", request.transactionId)
        .add("length", request.length)
        .add("controlParameter", request.controlParameter)
        .add("controlData", counted(request.controlData, request.length))
        .text();
}

std::string print_DiagRoutineResponse(tDiagmgrJavaRoutineRespds const& response) {
    return RecordText()
        .add("routineId", response.routineId)
        .add("transactionId", response.transactionId)
        .add("length", response.length)
        .add("controlParameter", response.controlParameter)
        .add("routineStatus", response.routineStatus)
        .add("routineResult", response.routineResult)
        .add("resultData", counted(response.resultData, response.length))
        .text();
}

}  // namespace zvg::val::diag_ara
