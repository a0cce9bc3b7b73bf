#include "codec/oracle/Catalogue.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace codec::describe {
extern const Family family_sample;
}

namespace oracle {

namespace {

std::out_of_range nothing(const char* what, std::string_view name) {
    return std::out_of_range(std::string("no ") + what + " " + std::string(name));
}

}  // namespace

const std::vector<const Family*>& allFamilies() {
    static const std::vector<const Family*> ALL = [] {
        std::vector<const Family*> all(codec::describe::families().begin(),
                                       codec::describe::families().end());
        all.push_back(&codec::describe::family_sample);
        return all;
    }();
    return ALL;
}

const Record& recordNamed(std::string_view name) {
    for (const Family* family : allFamilies()) {
        const auto found = std::ranges::find(family->records, name, &Record::name);
        if (found != family->records.end()) return **found;
    }
    throw nothing("record", name);
}

const Message& messageNamed(std::string_view name) {
    for (const Family* family : allFamilies()) {
        const auto found = std::ranges::find(family->messages, name, &Message::name);
        if (found != family->messages.end()) return *found;
    }
    throw nothing("message", name);
}

const Field& fieldNamed(const Record& record, std::string_view name) {
    const auto found = std::ranges::find(record.fields, name, &Field::name);
    if (found == record.fields.end()) throw nothing("field", name);
    return *found;
}

}  // namespace oracle
