#include "platform/com/discovery/Sd_relay.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace eb::com::runtime {
namespace {

constexpr std::size_t MESSAGE_BYTES = 1400;
constexpr std::uint16_t RELAY_METHOD = 1;
constexpr std::string_view RELAY = "relay=";
constexpr std::string_view KNOWN = "known=";

constexpr someip::Header ENVELOPE{SD_SERVICE,
                                  RELAY_METHOD,
                                  0,
                                  1,
                                  someip::PROTOCOL_VERSION,
                                  1,
                                  static_cast<std::uint8_t>(someip::Message_type::notification),
                                  someip::E_OK};

std::size_t bytesOf(Sd_entry const& entry) {
    return SD_ENTRY_BYTES + (entry.tcp ? SD_ENDPOINT_BYTES : 0) + (entry.udp ? SD_ENDPOINT_BYTES : 0) +
           (entry.multicast ? SD_ENDPOINT_BYTES : 0);
}

/// Whether the discovery message that it is about follows.
bool carriesMessage(Sd_relay const& relay) {
    return !relay.entries.empty() &&
           (relay.kind == Sd_relay::Kind::say || relay.kind == Sd_relay::Kind::heard);
}

void writeNumber(std::vector<std::uint8_t>& bytes, std::size_t value, unsigned count) {
    while (count-- != 0) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * count)));
}

/// One item of an envelope, behind its length.
class Item {
public:
    explicit Item(std::string_view name) : m_text(name) {}
    Item& number(std::uint32_t value, unsigned bytes) {
        for (unsigned digit = 2 * bytes; digit-- != 0;)
            m_text += "0123456789abcdef"[value >> (4 * digit) & 0xFU];
        return *this;
    }
    Item& address(Address const& address) { return number(address.ip, 4).number(address.port, 2); }
    void write(std::vector<std::uint8_t>& bytes) const {
        writeNumber(bytes, m_text.size(), 1);
        bytes.insert(bytes.end(), m_text.begin(), m_text.end());
    }

private:
    std::string m_text;
};

/// The digits of an item. What can't be read is 0 and makes it false.
class Digits {
public:
    explicit Digits(std::string_view digits) : m_left(digits) {}
    std::uint32_t number(unsigned bytes) {
        std::uint32_t value = 0;
        auto const* const end = m_left.data() + std::min<std::size_t>(2 * bytes, m_left.size());
        auto const [at, error] = std::from_chars(m_left.data(), end, value, 16);
        m_good = m_good && m_left.size() >= 2 * bytes && error == std::errc() && at == end;
        m_left.remove_prefix(static_cast<std::size_t>(end - m_left.data()));
        return m_good ? value : 0;
    }
    Address address() {
        auto const ip = number(4);
        return {ip, static_cast<std::uint16_t>(number(2))};
    }
    bool areRead() const noexcept { return m_good && m_left.empty(); }

private:
    std::string_view m_left;
    bool m_good = true;
};

/// The items of an envelope; none if it isn't one.
std::vector<std::string_view> itemsOf(someip::Frame const& frame) {
    auto const& bytes = frame.payload.bytes();
    if (frame.header != ENVELOPE || bytes.empty()) return {};
    std::string_view left(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    std::vector<std::string_view> items;
    while (!left.empty()) {
        std::size_t const size = static_cast<std::uint8_t>(left.front());
        if (size >= left.size()) break;
        items.push_back(left.substr(1, size));
        left.remove_prefix(1 + size);
    }
    return left.empty() ? items : std::vector<std::string_view>();
}

/// `follows`: the next frame belongs to it.
std::optional<Sd_relay> decodeEnvelope(someip::Frame const& frame, bool& follows) {
    auto const items = itemsOf(frame);
    if (items.empty() || !items.front().starts_with(RELAY) || items.size() > 1 + Sd_relay::LONGEST_LIST)
        return {};
    Digits digits(items.front().substr(RELAY.size()));
    Sd_relay relay;
    auto const kind = digits.number(1);
    relay.kind = static_cast<Sd_relay::Kind>(kind);
    relay.address = digits.address();
    relay.detail = static_cast<std::uint8_t>(digits.number(1));
    relay.flag = digits.number(1) != 0;
    follows = digits.number(1) != 0;
    if (!digits.areRead() || kind == 0 || kind > static_cast<std::uint8_t>(Sd_relay::Kind::partners))
        return {};
    for (std::size_t index = 1; index < items.size(); ++index) {
        if (!items[index].starts_with(KNOWN)) return {};
        Digits known(items[index].substr(KNOWN.size()));
        Address const address = known.address();
        relay.list.push_back({address, known.number(4)});
        if (!known.areRead()) return {};
    }
    return relay;
}

}  // namespace

void append(std::vector<std::uint8_t>& bytes, Sd_relay const& relay) {
    std::vector<std::uint8_t> items;
    Item(RELAY)
        .number(static_cast<std::uint8_t>(relay.kind), 1)
        .address(relay.address)
        .number(relay.detail, 1)
        .number(relay.flag ? 1 : 0, 1)
        .number(carriesMessage(relay) ? 1 : 0, 1)
        .write(items);
    auto const count = std::min(relay.list.size(), Sd_relay::LONGEST_LIST);
    for (std::size_t index = 0; index < count; ++index)
        Item(KNOWN).address(relay.list[index].address).number(relay.list[index].age, 4).write(items);
    auto frame = someip::encode(ENVELOPE, items);
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    if (!carriesMessage(relay)) return;
    Sd_message message;
    message.session = 1;
    message.entries = relay.entries;
    // A message has room for two addresses of an entry, and no process here listens to a group of events.
    for (Sd_entry& entry : message.entries)
        if (entry.tcp && entry.udp) entry.multicast.reset();
    frame = encode(message);
    bytes.insert(bytes.end(), frame.begin(), frame.end());
}

std::optional<Sd_relay> Sd_relay_reader::next(std::string& fault) {
    using Found = someip::Frame_reader::Found;
    someip::Frame frame;
    for (auto found = Found::nothing; (found = m_frames.next(frame)) != Found::nothing;) {
        if (found != Found::frame) {
            fault = "a message of an impossible length";
            return {};
        }
        if (!m_open) {
            bool follows = false;
            m_open = decodeEnvelope(frame, follows);
            if (!m_open) {
                fault = "no message between a member and its speaker";
                return {};
            }
            if (follows) continue;
        } else {
            auto message = decode(frame, fault);
            if (!message) return {};
            m_open->entries = std::move(message->entries);
        }
        return std::exchange(m_open, std::nullopt);
    }
    return {};
}

std::vector<std::vector<Sd_entry>> inPortions(std::vector<Sd_entry> const& entries) {
    std::vector<std::vector<Sd_entry>> portions;
    std::size_t bytes = 0;
    for (Sd_entry const& entry : entries) {
        if (portions.empty() || bytes + bytesOf(entry) > MESSAGE_BYTES) {
            portions.emplace_back();
            bytes = SD_EMPTY_BYTES;
        }
        bytes += bytesOf(entry);
        portions.back().push_back(entry);
    }
    return portions;
}

}  // namespace eb::com::runtime
