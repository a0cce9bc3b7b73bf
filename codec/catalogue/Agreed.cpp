#include "codec/catalogue/Agreed.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace agreed {

namespace {

std::pair<std::int64_t, std::int64_t> rangeOf(const std::string& word) {
    const std::size_t dots = word.find("..");
    const std::int64_t first = std::stoll(word);
    return {first, dots == std::string::npos ? first : std::stoll(word.substr(dots + 2))};
}

void join(std::vector<std::pair<std::int64_t, std::int64_t>>& ranges) {
    std::ranges::sort(ranges);
    for (std::size_t i = 1; i < ranges.size();) {
        if (ranges[i].first > ranges[i - 1].second + 1) {
            ++i;
            continue;
        }
        ranges[i - 1].second = std::max(ranges[i - 1].second, ranges[i].second);
        ranges.erase(ranges.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

Enumeration enumeration(std::istringstream& words) {
    Enumeration set;
    words >> set.name >> set.bits;
    for (std::string word; words >> word;) {
        if (word == "any") {
            set.any = true;
        } else if (word == "mask") {
            words >> std::hex >> set.mask;
        } else {
            set.ranges.push_back(rangeOf(word));
        }
    }
    join(set.ranges);
    return set;
}

Message message(std::istringstream& words) {
    Message message;
    words >> message.id >> message.name >> message.payload;
    if (!(words >> message.type)) message.type = message.payload;
    return message;
}

Value value(std::istringstream& words) {
    Value value;
    words >> value.enumeration >> value.name >> value.number;
    return value;
}

}  // namespace

void PrintTo(const Message& message, std::ostream* out) {
    *out << message.id << " " << message.name << " " << message.payload << " " << message.type;
}

void PrintTo(const Enumeration& set, std::ostream* out) {
    *out << set.name << " " << set.bits << (set.any ? " any" : "") << " mask " << set.mask;
    for (const auto& [first, last] : set.ranges) *out << " " << first << ".." << last;
}

void PrintTo(const Value& value, std::ostream* out) {
    *out << value.enumeration << " " << value.name << " " << value.number;
}

Catalogue read(const std::string& path) {
    Catalogue catalogue;
    std::ifstream in(path);
    if (!in) throw std::runtime_error("can't read " + path);
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string keyword, name;
        if (line.starts_with('#') || !(words >> keyword)) continue;
        if (keyword == "message") {
            catalogue.messages.insert(message(words));
        } else if (keyword == "enum") {
            catalogue.enumerations.insert(enumeration(words));
        } else if (keyword == "value") {
            catalogue.values.insert(value(words));
        } else if (keyword == "type" && words >> name) {
            catalogue.types.insert(name);
        } else if (keyword == "nested" && words >> name) {
            catalogue.nested.insert(name);
        } else {
            throw std::runtime_error(path + ": not understood: " + line);
        }
    }
    return catalogue;
}

}  // namespace agreed
