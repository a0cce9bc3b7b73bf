#include "tools/valdump/Table.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace valdump {

namespace {

constexpr std::size_t BYTES_OF_A_ROW = 8;
constexpr std::size_t ROWS_OF_A_BLOCK = 8;
constexpr std::size_t ELEMENTS = 20;

struct Row {
    std::size_t offset;
    std::string raw;
    std::string name;
    std::string value;
    std::string_view comment;
};

std::string charactersOf(Bytes bytes) {
    std::string text;
    for (unsigned char byte : bytes) text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    return "|" + text + "|";
}

class Rows {
public:
    Rows(Bytes bytes, bool all) : m_bytes(bytes), m_all(all) {}

    void add(std::vector<Value> const& values, std::size_t depth) {
        for (Value const& value : values) add(value, depth);
    }

    std::vector<Row> take() { return std::move(m_rows); }

private:
    void add(Value const& value, std::size_t depth) {
        Field const& field = *value.field;
        std::string const name = std::string(2 * depth, ' ') + value.name;
        bool const isElement = value.name.starts_with('[');
        if (isBytes(field)) return addBlock(value, name);
        if (field.isArray && !isElement) return addArray(value, name, depth);
        if (field.kind == Field::Kind::RECORD) {
            m_rows.push_back({value.offset, "", name, "", isElement ? "" : field.comment});
            return add(value.inner, depth + 1);
        }
        m_rows.push_back({value.offset, spacedHex(m_bytes.subspan(value.offset, value.size)), name,
                          meaning(value), isElement ? "" : field.comment});
    }

    static std::string meaning(Value const& value) {
        Field const& field = *value.field;
        if (field.kind == Field::Kind::BOOL) return value.number == 0 ? "false" : "true";
        std::string const number = numberText(field, value.number);
        auto const name = valueName(field, value.number);
        return name.empty() ? number : number + " " + std::string(name);
    }

    void addArray(Value const& value, std::string const& name, std::size_t depth) {
        std::size_t const count = value.inner.size();
        m_rows.push_back(
            {value.offset, "", name + "[" + std::to_string(count) + "]", "", value.field->comment});
        std::size_t const shown = m_all ? count : std::min(count, ELEMENTS);
        for (std::size_t i = 0; i < shown; ++i) add(value.inner[i], depth + 1);
        if (shown < count) addRest(value.inner[shown].offset, depth + 1, count - shown, "elements");
    }

    void addBlock(Value const& value, std::string const& name) {
        Bytes const block = m_bytes.subspan(value.offset, value.size);
        std::size_t const most = m_all ? block.size() : BYTES_OF_A_ROW * ROWS_OF_A_BLOCK;
        std::size_t at = 0;
        do {
            Bytes const row = block.subspan(at, std::min(BYTES_OF_A_ROW, block.size() - at));
            m_rows.push_back({value.offset + at, spacedHex(row),
                              at == 0 ? name + "[" + std::to_string(block.size()) + "]" : "",
                              row.empty() ? "" : charactersOf(row), at == 0 ? value.field->comment : ""});
            at += row.size();
        } while (at < std::min(block.size(), most));
        if (at < block.size()) addRest(value.offset + at, 0, block.size() - at, "bytes");
    }

    void addRest(std::size_t offset, std::size_t depth, std::size_t number, char const* what) {
        m_rows.push_back({offset, "...", std::string(2 * depth, ' '),
                          std::to_string(number) + " more " + what + "; --all shows them", ""});
    }

    Bytes m_bytes;
    bool m_all;
    std::vector<Row> m_rows;
};

}  // namespace

void printTable(std::ostream& out, Message const& message, Bytes bytes, Payload const& payload, bool all) {
    if (!payload.text.empty()) out << payload.text << '\n';
    out << message.id << ' ' << message.name << ", " << message.record->name << ", " << bytes.size()
        << (bytes.size() == 1 ? " byte" : " bytes")
        << (message.record->assumed        ? ", assumed layout"
            : message.record->assumedNames ? ", names of fields are ours"
                                           : "")
        << '\n';
    Rows maker(bytes, all);
    maker.add(payload.fields, 0);
    std::vector<Row> const rows = maker.take();
    std::size_t raw = 0;
    std::size_t name = 0;
    std::size_t value = 0;
    for (Row const& row : rows) {
        raw = std::max(raw, row.raw.size());
        name = std::max(name, row.name.size());
        if (!row.comment.empty()) value = std::max(value, row.value.size());
    }
    for (Row const& row : rows) {
        std::ostringstream line;
        line << std::right << std::setw(6) << row.offset << "  " << std::left
             << std::setw(static_cast<int>(raw)) << row.raw << "  " << std::setw(static_cast<int>(name))
             << row.name << "  " << std::setw(static_cast<int>(value)) << row.value << "  " << row.comment;
        std::string text = line.str();
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    }
}

}  // namespace valdump
