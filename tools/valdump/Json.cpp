#include "tools/valdump/Json.h"

#include <set>

namespace valdump {

namespace {

Json valueJson(Value const& value, Bytes bytes) {
    Field const& field = *value.field;
    bool const isElement = value.name.starts_with('[');
    if (field.isArray && !isElement) {
        if (isBytes(field)) return plainHex(bytes.subspan(value.offset, value.size));
        Json elements = Json::array();
        for (Value const& each : value.inner) elements.push_back(valueJson(each, bytes));
        return elements;
    }
    if (field.kind == Field::Kind::RECORD) {
        Json record = Json::object();
        for (Value const& each : value.inner) record[each.name] = valueJson(each, bytes);
        return record;
    }
    if (field.kind == Field::Kind::BOOL && value.number <= 1) return value.number == 1;
    if (isSigned(field)) return static_cast<std::int64_t>(value.number);
    return value.number;
}

void addRows(std::vector<Value> const& values, std::string const& prefix, Bytes bytes, Json& rows) {
    for (Value const& value : values) {
        bool const isElement = value.name.starts_with('[');
        std::string const path = prefix.empty() ? value.name : prefix + (isElement ? "" : ".") + value.name;
        if (value.inner.empty()) {
            Json row{{"field", path},
                     {"offset", value.offset},
                     {"raw", plainHex(bytes.subspan(value.offset, value.size))}};
            row["value"] = valueJson(value, bytes);
            if (auto const name = valueName(*value.field, value.number); !name.empty()) row["name"] = name;
            if (!value.field->comment.empty()) row["comment"] = value.field->comment;
            rows.push_back(std::move(row));
        }
        addRows(value.inner, path, bytes, rows);
    }
}

}  // namespace

Json readJson(std::string const& text) {
    constexpr std::size_t DEEPEST = 64;
    std::vector<std::set<std::string>> open;  // the names that each open object has had; none for an array
    using Event = Json::parse_event_t;
    auto const judge = [&open](int /*depth*/, Event event, Json const& parsed) {
        if (event == Event::object_start || event == Event::array_start) {
            if (open.size() == DEEPEST) throw BadInput("the JSON is nested deeper than any record");
            open.emplace_back();
        } else if (event == Event::object_end || event == Event::array_end) {
            open.pop_back();
        } else if (event == Event::key && !open.back().insert(parsed.get<std::string>()).second) {
            throw BadInput("`" + parsed.get<std::string>() + "` stands twice in one object");
        }
        return true;
    };
    try {
        return Json::parse(text, judge);
    } catch (Json::exception const& error) {
        std::string_view const what = error.what();  // behind the library's own number
        throw BadInput("no JSON: " + std::string(what.substr(what.find("] ") + 2)));
    }
}

Json toJson(Message const& message, Bytes bytes, Payload const& payload) {
    Json json{{"id", message.id},
              {"message", message.name},
              {"record", message.record->name},
              {"assumed", message.record->assumed},
              {"assumed_names", message.record->assumedNames},
              {"payload", plainHex(bytes)},
              {"text", payload.text.empty() ? Json() : Json(payload.text)}};
    Json fields = Json::object();
    if (!payload.failure) {
        for (Value const& each : payload.fields) fields[each.name] = valueJson(each, bytes);
    }
    json["fields"] = payload.failure ? Json() : fields;
    Json rows = Json::array();
    addRows(payload.fields, "", bytes, rows);
    json["layout"] = std::move(rows);
    json["error"] = Json();
    if (auto const& failure = payload.failure) {
        json["error"] = Json{{"code", static_cast<int>(failure->code)},
                             {"name", codeName(failure->code)},
                             {"field", failure->field.empty() ? Json() : Json(failure->field)},
                             {"offset", failure->offset},
                             {"text", failure->text}};
    }
    return json;
}

}  // namespace valdump
