#include "tools/tester/data_service/DataValues.h"

#include <charconv>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tools/tester/Text.h"

namespace tester {

namespace {

constexpr char VALUE_RULE[] = R"(has to be bytes in hex, a text in quotes, "empty", or "error" and a number)";

std::string trimmed(std::string const& text) {
    std::size_t const begin = text.find_first_not_of(" \t\r");
    return begin == std::string::npos ? std::string()
                                      : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

/// The line without its comment; a '#' between quotes is none.
std::string withoutComment(std::string const& line) {
    bool quoted = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '"') quoted = !quoted;
        if (line[at] == '#' && !quoted) return line.substr(0, at);
    }
    return line;
}

std::vector<unsigned char> parseHex(std::string const& text) {
    std::string digits;
    for (char const character : text)
        if (character != ' ' && character != '\t') digits += character;
    std::vector<unsigned char> bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        unsigned value = 0;
        char const* const begin = digits.data() + at;
        if (std::from_chars(begin, begin + 2, value, 16).ptr != begin + 2) break;
        bytes.push_back(static_cast<unsigned char>(value));
    }
    if (bytes.empty() || bytes.size() * 2 != digits.size())
        throw std::invalid_argument("'" + text + "' " + VALUE_RULE);
    return bytes;
}

}  // namespace

std::uint32_t parseRecordId(std::string const& text) {
    bool const hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    std::uint32_t id = 0;
    char const* const end = text.data() + text.size();
    auto const read = std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, id, hexadecimal ? 16 : 10);
    if (text.empty() || read.ec != std::errc() || read.ptr != end)
        throw std::invalid_argument("'" + text + "' has to be a record's number, such as 2640 or 0xA50");
    return id;
}

std::string recordName(std::uint32_t id) {
    std::ostringstream name;
    name << id << " (0x" << std::hex << std::uppercase << id << ')';
    return name.str();
}

DataRecord parseDataRecord(std::string const& text) {
    if (text == "empty") return {};
    if (text.starts_with("error ")) {
        std::uint32_t const code = parseRecordId(trimmed(text.substr(6)));
        if (code == 0) throw std::invalid_argument("'" + text + "': result code 0 is success");
        return {{}, code};
    }
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        return {{text.begin() + 1, text.end() - 1}, 0};
    return {parseHex(text), 0};
}

std::string text(DataRecord const& record) {
    if (record.resultCode != 0) return "error " + std::to_string(record.resultCode);
    return record.bytes.empty() ? "empty" : hex(record.bytes, 16);
}

DataValues DataValues::parse(std::istream& lines, std::string const& origin) {
    DataValues values;
    std::string line;
    for (unsigned number = 1; std::getline(lines, line); ++number) {
        std::string const content = trimmed(withoutComment(line));
        if (content.empty()) continue;
        try {
            std::size_t const equals = content.find('=');
            if (equals == std::string::npos)
                throw std::invalid_argument("'" + content + "' has to be RECORD = VALUE");
            std::uint32_t const id = parseRecordId(trimmed(content.substr(0, equals)));
            if (!values.m_records.emplace(id, parseDataRecord(trimmed(content.substr(equals + 1)))).second)
                throw std::invalid_argument("record " + recordName(id) + " stands twice");
        } catch (std::invalid_argument const& error) {
            throw std::invalid_argument(origin + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return values;
}

DataValues DataValues::load(std::string const& path) {
    std::ifstream file(path);
    if (!file) throw std::invalid_argument(path + ": can't be read");
    return parse(file, path);
}

DataRecord const* DataValues::find(std::uint32_t id) const {
    auto const found = m_records.find(id);
    return found == m_records.end() ? nullptr : &found->second;
}

bool DataValues::set(std::uint32_t id, DataRecord record) {
    auto const [at, added] = m_records.try_emplace(id, record);
    if (added) return true;
    bool const changed = at->second != record;
    at->second = std::move(record);
    return changed;
}

std::uint64_t DataValues::hash() const {
    std::uint64_t hash = 0xCBF29CE484222325U;
    auto const add = [&](std::uint64_t number) { hash = (hash ^ number) * 0x100000001B3U; };
    for (auto const& [id, record] : m_records) {
        add(id);
        add(record.resultCode);
        add(record.bytes.size());
        for (unsigned char const byte : record.bytes) add(byte);
    }
    return hash;
}

}  // namespace tester
