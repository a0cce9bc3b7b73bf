#pragma once

#include <cstdint>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

/** The names, ids and enumeration values of agreed.txt, which owes nothing to the schemas. */
namespace agreed {

struct Message {
    unsigned id = 0;
    std::string name;
    std::string payload;
    std::string type;  ///< what a wrapper forwards to; the payload itself for the others

    auto operator<=>(const Message&) const = default;
};

struct Enumeration {
    std::string name;
    unsigned bits = 0;
    bool any = false;
    std::uint32_t mask = 0;                                     ///< 0 if it isn't a set of bits
    std::vector<std::pair<std::int64_t, std::int64_t>> ranges;  ///< ascending, none touches the next

    auto operator<=>(const Enumeration&) const = default;
};

/** A value that has a name. */
struct Value {
    std::string enumeration;
    std::string name;
    std::int64_t number = 0;

    auto operator<=>(const Value&) const = default;
};

// How a test prints them.
void PrintTo(const Message& message, std::ostream* out);
void PrintTo(const Enumeration& set, std::ostream* out);
void PrintTo(const Value& value, std::ostream* out);

struct Catalogue {
    std::set<Message> messages;
    std::set<std::string> types;
    std::set<std::string> nested;
    std::set<Enumeration> enumerations;
    std::set<Value> values;
};

/** Throws std::runtime_error with the line that isn't understood. */
Catalogue read(const std::string& path);

}  // namespace agreed
