#include "client/RequestText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

namespace zvg::val::diag_ara {

std::string convert_intToHexStr(unsigned int number) {
    std::array<char, 10> text{'0', 'x'};
    auto const end = std::to_chars(text.data() + 2, text.data() + text.size(), number, 16).ptr;
    return {text.data(), end};
}

std::string print_adaptationsetReqIds(tDiagmgrGetAdaptationsetReqds const& request) {
    std::string text = "adaptationIds=[";
    std::size_t const count = std::min<std::size_t>(request.length, std::size(request.adaptationIds));
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 0) text += ',';
        text += convert_intToHexStr(request.adaptationIds[i]);
    }
    return text + "], transactionId=" + std::to_string(request.transactionId);
}

std::string print_getDataSetVersionReq(tDiagmgrGetDatasetVersionReqds const& request) {
    return "datasetId=" + convert_intToHexStr(request.datasetId) +
           ", transactionId=" + std::to_string(request.transactionId);
}

std::string print_getDataSetReq(tDiagmgrGetDatasetReqds const& request) {
    return "datasetId=" + convert_intToHexStr(request.datasetId) +
           ", transactionId=" + std::to_string(request.transactionId) +
           ", segmentId=" + std::to_string(request.segmentId);
}

std::string print_javaControlMonitorPathReq(tDiagmgrJavaControlMonitorPathReqds const& request) {
    return "componentId=" + std::to_string(request.componentId) +
           ", transactionId=" + std::to_string(request.transactionId);
}

}  // namespace zvg::val::diag_ara
