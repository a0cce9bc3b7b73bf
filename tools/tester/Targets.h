// What the tester can address, how users name it, and how its replies are read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tester/Fields.h"

namespace tester {

/// One service that the vehicle offers.
struct Target {
    enum class Kind : std::uint8_t { dataIdentifier, routine, troubleCode };

    Kind kind;
    std::uint32_t number;
    std::uint32_t version;  ///< of the interface: major in the upper half, minor in the lower
    std::string id;         ///< the number as people write it: "0xB047", "0x81A2E0"
    std::string interface;  ///< "DataIdentifier_ParameterList"
    std::string shortName;  ///< "ParameterList"; a trouble code's decimal digits
    std::string service;    ///< the full name that the runtime knows the interface by
    std::string instance;   ///< its name, invisible characters included
    Decoded (*decode)(std::vector<unsigned char> const& payload);  ///< the reply of the method that has one
};

// Methods count from 0 in alphabetical order.
constexpr unsigned short METHOD_CANCEL = 0;
constexpr unsigned short METHOD_READ = 1;
constexpr unsigned short METHOD_REQUEST_RESULTS = 1;
constexpr unsigned short METHOD_START = 2;
constexpr unsigned short METHOD_STOP = 3;
constexpr unsigned short METHOD_INIT_MONITOR = 0;

/// All targets of one kind, in the order of their registration. Never changed: any thread may read it.
class Catalogue {
public:
    /// `noun` is the kind in words, "data identifier".
    Catalogue(std::string noun, std::vector<Target> all) : m_noun(std::move(noun)), m_all(std::move(all)) {}

    std::string const& noun() const noexcept { return m_noun; }
    auto begin() const noexcept { return m_all.begin(); }
    auto end() const noexcept { return m_all.end(); }
    std::size_t size() const noexcept { return m_all.size(); }

    /// The target that a user means: a hexadecimal number with or without "0x", "d_b047" or "r_0687", the
    /// interface's name with or without what stands before its '_', in any case of letters; of a trouble code
    /// the decimal number as well. Null if there is none.
    Target const* find(std::string_view text) const;

    /// Says why `text` names no target, and lists those that can be named.
    std::string unknown(std::string_view text) const;

private:
    Target const* findNumber(std::int64_t number) const;

    std::string m_noun;
    std::vector<Target> m_all;
};

// Made once, each at its first use.
Catalogue const& dataIdentifiers();
Catalogue const& routines();
Catalogue const& troubleCodes();

}  // namespace tester
