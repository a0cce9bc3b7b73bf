#include "tools/tester/Targets.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "binding/generated/DiagnosticMonitor.h"
#include "binding/generated/all.h"
#include "tools/tester/Services.h"

namespace tester {

namespace {

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(text.begin(), text.end(), result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

/// The whole text as a number, or -1.
std::int64_t parse(std::string_view text, int base) {
    std::int64_t number = -1;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

/// "DataIdentifier_ParameterList" is called "ParameterList".
std::string shortName(std::string_view interface) {
    return std::string(interface.substr(interface.find('_') + 1));
}

template <class Interface>
Target describe(Target::Kind kind, std::uint16_t number, decltype(Target::decode) decode) {
    return {kind,
            number,
            Interface::DESCRIPTION,
            hexNumber(number),
            std::string(Interface::SHORT_NAME),
            shortName(Interface::SHORT_NAME),
            std::string(Interface::NAME),
            INSTANCE,
            decode};
}

std::vector<Target> monitors() {
    using ac::dm::dem::DiagnosticMonitor;
    std::vector<Target> each;
    for (unsigned long const code : DiagnosticMonitor::CODES) {
        each.push_back({Target::Kind::troubleCode, static_cast<std::uint32_t>(code),
                        DiagnosticMonitor::DESCRIPTION, hexNumber(static_cast<std::uint32_t>(code)),
                        "DiagnosticMonitor", std::to_string(code), std::string(DiagnosticMonitor::NAME),
                        DiagnosticMonitor::instance(code), nullptr});
    }
    return each;
}

}  // namespace

Target const* Catalogue::findNumber(std::int64_t number) const {
    auto const found = std::find_if(begin(), end(), [number](auto const& each) {
        return static_cast<std::int64_t>(each.number) == number;
    });
    return found == end() ? nullptr : &*found;
}

Target const* Catalogue::find(std::string_view text) const {
    std::string const wanted = lower(text);
    for (auto const& each : *this) {
        if (wanted == lower(each.shortName)) return &each;
        if (each.kind != Target::Kind::troubleCode && wanted == lower(each.interface)) return &each;
    }
    std::string_view digits = wanted;
    if (digits.starts_with("0x") || digits.starts_with("d_") || digits.starts_with("r_")) {
        digits.remove_prefix(2);
    }
    return findNumber(parse(digits, 16));
}

std::string Catalogue::unknown(std::string_view text) const {
    std::string message = "'" + std::string(text) + "' is no " + m_noun;
    if (auto const* meant = findNumber(parse(text, 10))) {
        message += "; numbers are hexadecimal: do you mean " + meant->id + "?";
    }
    message += "\nKnown are 'all' and these, by number or name:";
    for (auto const& each : *this) message += "\n  " + each.id + "  " + each.shortName;
    return message;
}

Catalogue const& dataIdentifiers() {
    static Catalogue const all("data identifier", [] {
        std::vector<Target> each;
        zvg::services::diag::Data_identifiers::forEach([&each]<class Interface>() {
            each.push_back(describe<Interface>(Target::Kind::dataIdentifier, Interface::DATA_IDENTIFIER,
                                               &decodeFields<typename Interface::ReadMethod::Output>));
        });
        return each;
    }());
    return all;
}

Catalogue const& routines() {
    static Catalogue const all("routine", [] {
        std::vector<Target> each;
        zvg::services::diag::Routines::forEach([&each]<class Interface>() {
            each.push_back(
                describe<Interface>(Target::Kind::routine, Interface::ROUTINE_IDENTIFIER,
                                    &decodeFields<typename Interface::RequestResultsMethod::Output>));
        });
        return each;
    }());
    return all;
}

Catalogue const& troubleCodes() {
    static Catalogue const all("trouble code", monitors());
    return all;
}

}  // namespace tester
