#include "client/Printers.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution {

using Hash = zvg::services::diagnosticdatadistribution::datatypes::DT_dataValuesHash_struct;

namespace {

constexpr std::size_t WHOLE = 20;  // a longer list is shortened
constexpr std::size_t END = 10;    // to so many elements at either end

template <class Element, class Print>
std::string printList(char const* name, std::vector<Element> const& list, Print print) {
    std::string text = std::string(name) + "=[";
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (i != 0) text += ',';
        if (list.size() > WHOLE && i == END) {
            text += "...,";
            i = list.size() - END;
        }
        text += print(list[i]);
    }
    return text + ']';
}

std::string printHash(Hash const& value) {
    std::string text;
    auto const member = [&text](char const* name, auto const& number) {
        if (!number.has_value()) return;
        if (!text.empty()) text += ',';
        text += name + std::to_string(*number);
    };
    member("name_space=", value.name_space);
    member("category=", value.category);
    member("hashValue=", value.hashValue);
    return '{' + text + '}';
}

}  // namespace

std::string printer_DT_dataValuesHash_vector(std::vector<Hash> const& values, bool) {
    return printList("DT_dataValuesHash_vector", values, printHash);
}

std::string printer_DT_DiagnosticValuesResultType_diagnosticData_ARRAY(std::vector<std::uint8_t> const& bytes,
                                                                       bool) {
    return printList("DT_DiagnosticValuesResultType_diagnosticData_ARRAY", bytes,
                     [](std::uint8_t byte) { return std::to_string(byte); });
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution
