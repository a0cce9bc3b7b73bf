#include "codec/describe/Description.h"

#include "codec/describe/Tables.h"

#include <algorithm>
#include <vector>

namespace codec::describe {

namespace {

/** One list of what all families have, ascending by `key`. */
template <class Element, class List, class Key>
std::vector<Element> sorted(List Family::*list, Key key) {
    std::vector<Element> all;
    for (const Family* family : families()) {
        all.insert(all.end(), (family->*list).begin(), (family->*list).end());
    }
    std::ranges::sort(all, {}, key);
    return all;
}

}  // namespace

std::span<const Message> messages() {
    static const auto ALL = sorted<Message>(&Family::messages, &Message::id);
    return ALL;
}

std::span<const Record* const> records() {
    static const auto ALL = sorted<const Record*>(&Family::records, &Record::name);
    return ALL;
}

std::span<const Enumeration* const> enumerations() {
    static const auto ALL = sorted<const Enumeration*>(&Family::enumerations, &Enumeration::name);
    return ALL;
}

const Message* findMessage(std::uint16_t id) {
    const auto found = std::ranges::lower_bound(messages(), id, {}, &Message::id);
    return found != messages().end() && found->id == id ? &*found : nullptr;
}

const Message* findMessage(std::string_view name) {
    const auto found = std::ranges::find(messages(), name, &Message::name);
    return found != messages().end() ? &*found : nullptr;
}

const Record* findRecord(std::string_view name) {
    const auto found = std::ranges::lower_bound(records(), name, {}, &Record::name);
    return found != records().end() && (*found)->name == name ? *found : nullptr;
}

}  // namespace codec::describe
