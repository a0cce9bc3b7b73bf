#include <algorithm>
#include <cstring>

#include "tools/valdump/Json.h"
#include "tools/valdump/RecordMemory.h"

namespace valdump {

namespace {

/// As much of it as a line can carry.
std::string shown(Json const& json) {
    constexpr std::size_t MOST = 60;
    std::string const text = json.dump();
    return text.size() <= MOST ? text : text.substr(0, MOST) + " ...";
}

[[noreturn]] void refuse(std::string const& path, std::string const& what) {
    throw BadInput("`" + path + "` " + what);
}

/// What its wire can hold, as text.
std::string limitsText(Field const& field) {
    unsigned const bits = field.wireBits;
    std::uint64_t const top = std::uint64_t{1} << (bits - 1);
    if (!isSigned(field)) return "0 to " + std::to_string(top - 1 + top);
    return std::to_string(-static_cast<std::int64_t>(top - 1) - 1) + " to " + std::to_string(top - 1);
}

bool fits(Field const& field, Json const& json) {
    unsigned const bits = field.wireBits;
    if (isSigned(field)) {
        // An unsigned number of JSON may be above every signed one.
        if (json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX) return false;
        auto const number = json.get<std::int64_t>();
        std::int64_t const high = bits == 64 ? INT64_MAX : (std::int64_t{1} << (bits - 1)) - 1;
        return number <= high && number >= -high - 1;
    }
    if (!json.is_number_unsigned() && json.get<std::int64_t>() < 0) return false;
    return bits == 64 || json.get<std::uint64_t>() >> bits == 0;
}

std::uint64_t numberOf(Field const& field, std::string const& path, Json const& json) {
    if (json.is_boolean() && field.kind == Field::Kind::BOOL) return json.get<bool>() ? 1 : 0;
    if (json.is_string() && field.enumeration != nullptr) {
        for (auto const& each : field.enumeration->names) {
            if (each.name == json.get_ref<std::string const&>())
                return static_cast<std::uint64_t>(each.value);
        }
        refuse(path, "is " + shown(json) + ", which is no name of a value of " +
                         std::string(field.enumeration->name));
    }
    if (!json.is_number_integer()) {
        refuse(path, "is " + shown(json) +
                         (field.kind == Field::Kind::BOOL ? ", not true or false" : ", not an integer"));
    }
    if (!fits(field, json)) refuse(path, "is " + shown(json) + ", outside of " + limitsText(field));
    auto const number = json.is_number_unsigned() ? json.get<std::uint64_t>()
                                                  : static_cast<std::uint64_t>(json.get<std::int64_t>());
    if (field.enumeration != nullptr && !field.enumeration->hasValue(static_cast<std::uint32_t>(number))) {
        refuse(path, "is " + shown(json) + ", and " + std::string(field.enumeration->name) + " accepts " +
                         valuesText(*field.enumeration) + ": ePackBadEnum (9)");
    }
    return number;
}

void fillRecord(Record const& record, unsigned char* memory, std::string const& prefix, Json const& json);

void fillElement(Field const& field, unsigned char* memory, std::size_t size, std::string const& path,
                 Json const& json) {
    if (field.kind == Field::Kind::RECORD) return fillRecord(*field.record, memory, path, json);
    std::uint64_t const number = numberOf(field, path, json);
    std::memcpy(memory, &number,
                size);  // low byte first, as the machine; a member may be wider than its wire
}

std::size_t fillArray(Field const& field, unsigned char* memory, std::string const& path, Json const& json) {
    bool const bytes = isBytes(field);
    if (bytes ? !json.is_string() : !json.is_array()) {
        refuse(path, bytes ? "is not a string of hex digits" : "is not an array");
    }
    std::vector<unsigned char> block;
    if (bytes) {
        try {
            block = parseHex(json.get_ref<std::string const&>());
        } catch (BadInput const& error) {
            refuse(path, std::string("is no hex: ") + error.what());
        }
    }
    std::size_t const count = bytes ? block.size() : json.size();
    if (field.countField == Field::NO_COUNT && count != field.capacity) {
        refuse(path, "has " + std::to_string(count) + " bytes in place of " + std::to_string(field.capacity));
    }
    if (count > field.capacity) {
        refuse(path, "has " + std::to_string(count) + " elements and holds at most " +
                         std::to_string(field.capacity) + ": ePackArrayTooLong (6)");
    }
    std::ranges::copy(block, memory);
    for (std::size_t i = 0; i < count && !bytes; ++i) {
        fillElement(field, memory + i * field.elementBytes(), field.elementBytes(),
                    path + "[" + std::to_string(i) + "]", json[i]);
    }
    return count;
}

Field const* arrayCountedBy(Record const& record, std::size_t index) {
    auto const found = std::ranges::find(record.fields, index, &Field::countField);
    return found == record.fields.end() ? nullptr : &*found;
}

void fillRecord(Record const& record, unsigned char* memory, std::string const& path, Json const& json) {
    if (!json.is_object()) refuse(path.empty() ? std::string(record.name) : path, "is not an object");
    std::string const prefix = path.empty() ? "" : path + ".";
    for (auto const& [key, value] : json.items()) {
        if (std::ranges::find(record.fields, std::string_view(key), &Field::name) == record.fields.end()) {
            refuse(prefix + key, "is no field of " + std::string(record.name));
        }
    }
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
        Field const& field = record.fields[i];
        std::string const name(field.name);
        auto const found = json.find(name);
        if (found == json.end()) {
            if (!field.isArray && arrayCountedBy(record, i) != nullptr) continue;  // filled with its array
            refuse(prefix + name,
                   "is missing; " + std::string(record.name) + " needs every field but its counts");
        }
        unsigned char* const member = memory + field.memberOffset;
        if (!field.isArray) {
            fillElement(field, member, field.memberBytes, prefix + name, *found);
            continue;
        }
        std::size_t const count = fillArray(field, member, prefix + name, *found);
        if (field.countField == Field::NO_COUNT) continue;
        Field const& counter = record.fields[field.countField];
        std::string const counterName(counter.name);
        if (auto const said = json.find(counterName); said != json.end() && *said != count) {
            refuse(prefix + counterName, "is " + shown(*said) + ", and `" + prefix + name + "` has " +
                                             std::to_string(count) + " elements; it may be left out");
        }
        std::uint64_t const number = count;
        std::memcpy(memory + counter.memberOffset, &number, counter.memberBytes);
    }
}

}  // namespace

std::vector<unsigned char> encode(Message const& message, Json const& json) {
    bool const isDocument = json.is_object() && json.contains("fields") && json.contains("layout");
    if (isDocument && json["fields"].is_null()) {
        throw BadInput("the JSON tells of a payload that was refused: its `fields` are null");
    }
    RecordMemory record(*message.record);
    fillRecord(*message.record, record.get(), "", isDocument ? json["fields"] : json);
    std::vector<unsigned char> payload(message.record->packedSize(nullptr, record.get()));
    sQlet1Mod4MessageHdr header{};
    tPackErrorCode const code =
        message.pack(&header, payload.data(), static_cast<unsigned>(payload.size()), record.get());
    if (code != ePackOk) {
        throw BadInput(std::string(message.name) + " is refused by the codec with code " +
                       std::to_string(code));
    }
    return payload;
}

}  // namespace valdump
