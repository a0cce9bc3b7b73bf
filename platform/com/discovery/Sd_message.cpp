#include "platform/com/discovery/Sd_message.h"

#include <algorithm>

namespace eb::com::runtime {
namespace {

constexpr std::uint8_t REBOOT_FLAG = 0x80;
constexpr std::uint8_t UNICAST_FLAG = 0x40;
constexpr std::uint8_t INTERFACE_VERSION = 1;

enum Option_type : std::uint8_t {
    CONFIGURATION = 0x01,
    LOAD_BALANCING = 0x02,
    IPV4_ENDPOINT = 0x04,
    IPV6_ENDPOINT = 0x06,
    IPV4_MULTICAST = 0x14,
    IPV4_SD_ENDPOINT = 0x24,
};
constexpr std::uint8_t DISCARDABLE = 0x80;  ///< who doesn't know the option may go on without it

constexpr std::uint16_t IPV4_LENGTH = 9;  ///< of an option with an IPv4 address, as its length field counts
constexpr std::uint8_t TCP = 6;           // IANA protocol numbers
constexpr std::uint8_t UDP = 17;

constexpr someip::Header HEADER{SD_SERVICE,
                                SD_METHOD,
                                0,
                                0,
                                someip::PROTOCOL_VERSION,
                                INTERFACE_VERSION,
                                static_cast<std::uint8_t>(someip::Message_type::notification),
                                someip::E_OK};

void put(std::vector<std::uint8_t>& bytes, std::uint32_t value, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> static_cast<unsigned>(shift)));
}

/// Reads on within bounds: what would lie beyond them is 0 and makes the reader false.
class Reader {
public:
    Reader(std::uint8_t const* bytes, std::size_t size) : m_at(bytes), m_left(size) {}

    template <class Number>
    Number get(std::size_t count = sizeof(Number)) {
        std::uint32_t value = 0;
        if (!take(count)) return 0;
        for (std::uint8_t const* at = m_at - count; at != m_at; ++at) value = value << 8U | *at;
        return static_cast<Number>(value);
    }
    Reader part(std::size_t size) { return take(size) ? Reader(m_at - size, size) : Reader(m_at, 0); }
    std::size_t left() const noexcept { return m_left; }
    explicit operator bool() const noexcept { return m_good; }

private:
    bool take(std::size_t count) {
        if (count > m_left) m_good = false;
        if (!m_good) return false;
        m_at += count;
        m_left -= count;
        return true;
    }

    std::uint8_t const* m_at;
    std::size_t m_left;
    bool m_good = true;
};

struct Option {
    std::uint8_t type = 0;
    std::uint8_t protocol = 0;
    Address address;
    char const* fault = nullptr;    ///< why an entry can't use it
    char const* foreign = nullptr;  ///< why an entry goes on without it, if it has another endpoint
    bool operator==(Option const&) const = default;
};

Option readOption(std::uint8_t type, Reader body) {
    Option option{type, 0, {}};
    bool const discardable = (body.get<std::uint8_t>() & DISCARDABLE) != 0;
    switch (type) {
        case CONFIGURATION:
        case LOAD_BALANCING:
            return option;
        case IPV4_ENDPOINT:
        case IPV4_MULTICAST:
        case IPV4_SD_ENDPOINT:
            break;
        case IPV6_ENDPOINT:
            option.foreign = "no endpoint but an IPv6 one";
            return option;
        default:
            if (!discardable) option.foreign = "an option of an unknown type that must not be discarded";
            return option;
    }
    option.address.ip = body.get<std::uint32_t>();
    body.get<std::uint8_t>();
    option.protocol = body.get<std::uint8_t>();
    option.address.port = body.get<std::uint16_t>();
    bool const multicast = option.address.ip >> 28U == 0xE;
    if (!body || body.left() != 0)
        option.fault = "an IPv4 option of a wrong length";
    else if (option.protocol != TCP && option.protocol != UDP)
        option.fault = "an IPv4 option of an unknown protocol";
    else if (option.address.port == 0)
        option.fault = "an IPv4 option with port 0";
    else if (type == IPV4_MULTICAST ? !multicast : !isUnicast(option.address.ip))
        option.fault = "an IPv4 option with an address that can't stand there";
    return option;
}

/// What an entry says of its options.
struct Runs {
    std::uint8_t first[2];
    std::uint8_t count[2];
};

/// Whether the entry says nothing without an endpoint.
bool needsEndpoint(Sd_entry const& entry) {
    return entry.type == Sd_entry::Type::subscribe || (entry.type == Sd_entry::Type::offer && entry.ttl != 0);
}

/// Why the entry can't be used; null if it can.
char const* attach(Sd_entry& entry, Runs const& runs, std::vector<Option> const& options) {
    char const* foreign = nullptr;
    for (int run = 0; run < 2; ++run) {
        if (runs.count[run] == 0) continue;
        if (runs.first[run] + std::size_t{runs.count[run]} > options.size())
            return "an option index out of range";
        for (unsigned index = 0; index < runs.count[run]; ++index) {
            Option const& option = options[runs.first[run] + index];
            if (option.fault != nullptr) return option.fault;
            if (option.foreign != nullptr) foreign = option.foreign;
            if (option.type != IPV4_ENDPOINT && option.type != IPV4_MULTICAST) continue;
            auto& place = option.type == IPV4_MULTICAST ? entry.multicast
                          : option.protocol == TCP      ? entry.tcp
                                                        : entry.udp;
            if (place && *place != option.address) return "options that contradict each other";
            place = option.address;
        }
    }
    return needsEndpoint(entry) && !entry.tcp && !entry.udp ? foreign : nullptr;
}

Sd_entry readEntry(Reader& reader, Runs& runs) {
    Sd_entry entry;
    entry.type = static_cast<Sd_entry::Type>(reader.get<std::uint8_t>());
    runs.first[0] = reader.get<std::uint8_t>();
    runs.first[1] = reader.get<std::uint8_t>();
    auto const counts = reader.get<std::uint8_t>();
    runs.count[0] = static_cast<std::uint8_t>(counts >> 4U);
    runs.count[1] = static_cast<std::uint8_t>(counts & 0x0FU);
    entry.service = reader.get<std::uint16_t>();
    entry.instance = reader.get<std::uint16_t>();
    entry.major = reader.get<std::uint8_t>();
    entry.ttl = reader.get<std::uint32_t>(3);
    if (entry.isEventgroupEntry()) {
        entry.minor = ANY_MINOR;
        entry.counter = static_cast<std::uint8_t>(reader.get<std::uint16_t>() & 0x0FU);
        entry.eventgroup = reader.get<std::uint16_t>();
    } else {
        entry.minor = reader.get<std::uint32_t>();
    }
    return entry;
}

bool isKnown(Sd_entry::Type type) {
    return type == Sd_entry::Type::find || type == Sd_entry::Type::offer ||
           type == Sd_entry::Type::subscribe || type == Sd_entry::Type::subscribeAck;
}

/// Collects options, each once.
class Options {
public:
    /// Its index.
    std::uint8_t add(Option const& option) {
        auto const known = std::find(m_options.begin(), m_options.end(), option);
        auto const index = static_cast<std::uint8_t>(known - m_options.begin());
        if (known == m_options.end()) m_options.push_back(option);
        return index;
    }
    void write(std::vector<std::uint8_t>& bytes) const {
        put(bytes, static_cast<std::uint32_t>(m_options.size() * SD_ENDPOINT_BYTES), 4);
        for (Option const& option : m_options) {
            put(bytes, IPV4_LENGTH, 2);
            put(bytes, option.type, 1);
            put(bytes, 0, 1);
            put(bytes, option.address.ip, 4);
            put(bytes, 0, 1);
            put(bytes, option.protocol, 1);
            put(bytes, option.address.port, 2);
        }
    }

private:
    std::vector<Option> m_options;
};

/// An entry has two runs and so two options that needn't be neighbours; a third one has to follow the second.
void writeEntry(std::vector<std::uint8_t>& bytes, Sd_entry const& entry, Options& options) {
    std::vector<std::uint8_t> indices;
    if (entry.tcp) indices.push_back(options.add({IPV4_ENDPOINT, TCP, *entry.tcp}));
    if (entry.udp) indices.push_back(options.add({IPV4_ENDPOINT, UDP, *entry.udp}));
    if (entry.multicast) indices.push_back(options.add({IPV4_MULTICAST, UDP, *entry.multicast}));
    indices.resize(2);
    put(bytes, static_cast<std::uint8_t>(entry.type), 1);
    put(bytes, indices[0], 1);
    put(bytes, indices[1], 1);
    unsigned const count = (entry.tcp ? 1U : 0U) + (entry.udp ? 1U : 0U) + (entry.multicast ? 1U : 0U);
    put(bytes, count > 1 ? 0x11U : count << 4U, 1);
    put(bytes, entry.service, 2);
    put(bytes, entry.instance, 2);
    put(bytes, entry.major, 1);
    put(bytes, entry.ttl, 3);
    if (entry.isEventgroupEntry())
        put(bytes, std::uint32_t{entry.counter} << 16U | entry.eventgroup, 4);
    else
        put(bytes, entry.minor, 4);
}

}  // namespace

std::vector<std::uint8_t> encode(Sd_message const& message) {
    Options options;
    std::vector<std::uint8_t> bytes;
    put(bytes, (message.reboot ? REBOOT_FLAG : 0U) | (message.unicast ? UNICAST_FLAG : 0U), 1);
    put(bytes, 0, 3);
    put(bytes, static_cast<std::uint32_t>(message.entries.size() * SD_ENTRY_BYTES), 4);
    if (message.sender) options.add({IPV4_SD_ENDPOINT, UDP, *message.sender});
    for (Sd_entry const& entry : message.entries) writeEntry(bytes, entry, options);
    options.write(bytes);
    someip::Header header = HEADER;
    header.session = message.session;
    return someip::encode(header, bytes);
}

std::optional<Sd_message> decode(someip::Frame const& frame, std::string& reason) {
    auto const drop = [&reason](char const* why) {
        reason = why;
        return std::nullopt;
    };
    someip::Header expected = HEADER;
    expected.session = frame.header.session;
    if (frame.header != expected) return drop("no message of service discovery");
    if (frame.header.session == 0) return drop("session id 0");

    Sd_message message;
    message.session = frame.header.session;
    auto const& bytes = frame.payload.bytes();
    Reader whole(bytes.data(), bytes.size());
    auto const flags = whole.get<std::uint8_t>();
    message.reboot = (flags & REBOOT_FLAG) != 0;
    message.unicast = (flags & UNICAST_FLAG) != 0;
    whole.get<std::uint32_t>(3);
    auto const entriesLength = whole.get<std::uint32_t>();
    Reader entries = whole.part(entriesLength);
    if (!whole) return drop("the entries end beyond the message");
    if (entriesLength % SD_ENTRY_BYTES != 0) return drop("the entries end inside of one");
    Reader rest = whole.part(whole.get<std::uint32_t>());
    if (!whole) return drop("the options end beyond the message");
    if (whole.left() != 0) return drop("bytes behind the options");

    std::vector<Option> options;
    while (rest.left() != 0) {
        auto const length = rest.get<std::uint16_t>();
        auto const type = rest.get<std::uint8_t>();
        Reader const body = rest.part(length);
        if (!rest || length == 0) return drop("an option of an impossible length");
        options.push_back(readOption(type, body));
        if (type == IPV4_SD_ENDPOINT && options.back().fault == nullptr)
            message.sender = options.back().address;
    }
    while (entries.left() != 0) {
        Runs runs{};
        Sd_entry entry = readEntry(entries, runs);
        if (!isKnown(entry.type)) {
            message.refused.push_back({entry, "an entry of an unknown type"});
        } else if (char const* const fault = attach(entry, runs, options)) {
            message.refused.push_back({entry, fault});
        } else {
            message.entries.push_back(entry);
        }
    }
    return message;
}

}  // namespace eb::com::runtime
