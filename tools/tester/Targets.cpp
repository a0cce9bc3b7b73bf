#include "tools/tester/DataIdentifiers.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "binding/generated/all.h"

namespace tester {

namespace {

constexpr std::string_view PREFIX = "DataIdentifier_";

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(text.begin(), text.end(), result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

/// The whole text as a number, or -1.
int parse(std::string_view text, int base) {
    int number = -1;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

DataIdentifier const* findNumber(int number) {
    auto const& all = dataIdentifiers();
    auto const found =
        std::find_if(all.begin(), all.end(), [number](auto const& each) { return each.number == number; });
    return found == all.end() ? nullptr : &*found;
}

template <class Interface>
DataIdentifier describe() {
    return {Interface::DATA_IDENTIFIER, Interface::DESCRIPTION, std::string(Interface::SHORT_NAME),
            std::string(Interface::NAME), &decodeFields<typename Interface::ReadMethod::Output>};
}

}  // namespace

std::vector<DataIdentifier> const& dataIdentifiers() {
    static std::vector<DataIdentifier> const all = [] {
        std::vector<DataIdentifier> each;
        zvg::services::diag::Data_identifiers::forEach(
            [&each]<class Interface>() { each.push_back(describe<Interface>()); });
        return each;
    }();
    return all;
}

std::string_view DataIdentifier::shortName() const noexcept {
    return std::string_view(interface).substr(PREFIX.size());
}

DataIdentifier const* findDataIdentifier(std::string_view text) {
    std::string const wanted = lower(text);
    for (auto const& each : dataIdentifiers()) {
        if (wanted == lower(each.interface) || wanted == lower(each.shortName())) return &each;
    }
    std::string_view digits = wanted;
    if (digits.starts_with("0x") || digits.starts_with("d_")) digits.remove_prefix(2);
    return findNumber(parse(digits, 16));
}

std::string unknownDataIdentifier(std::string_view text) {
    std::string message = "'" + std::string(text) + "' is no data identifier";
    if (auto const* meant = findNumber(parse(text, 10))) {
        message += "; numbers are hexadecimal: do you mean " + hexNumber(meant->number) + "?";
    }
    message += "\nKnown are 'all' and these, by number or name:";
    for (auto const& each : dataIdentifiers()) {
        message += "\n  " + hexNumber(each.number) + "  " + std::string(each.shortName());
    }
    return message;
}

}  // namespace tester
