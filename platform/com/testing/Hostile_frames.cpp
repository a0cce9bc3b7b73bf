#include "platform/com/testing/Hostile_frames.h"

#include <array>
#include <utility>

namespace eb::com::runtime::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<Hostile_frame>;

/// Where lengths go wrong: around nothing, around each bound, around each width and sign.
constexpr std::array<std::uint32_t, 36> LENGTHS = {
    0,           1,           2,           3,          4,          5,          6,           7,
    9,           15,          16,          17,         127,        128,        255,         256,
    1'400,       32'767,      32'768,      65'499,     65'507,     65'535,     65'536,      1'048'575,
    1'048'583,   1'048'585,   1'048'592,   2'097'152,  16'777'215, 16'777'216, 0x7FFFFFFFU, 0x80000000U,
    0xFFFFFFF0U, 0xFFFFFFF7U, 0xFFFFFFF8U, 0xFFFFFFFFU};

void put(Bytes& bytes, std::uint32_t value, int size) {
    for (int index = size; index-- > 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * index)));
}

void overwrite(Bytes& bytes, std::size_t position, std::uint32_t value) {
    for (std::size_t index = 0; index < 4; ++index)
        bytes[position + index] = static_cast<std::uint8_t>(value >> (24 - 8 * index));
}

std::string with(char const* what, std::uint32_t value) {
    return std::string(what) + " " + std::to_string(value);
}

}  // namespace

void addDamaged(Frames& frames, std::string const& name, Bytes const& good) {
    for (std::size_t size = 0; size < good.size(); ++size)
        frames.push_back({name + " cut off after " + std::to_string(size) + " bytes",
                          Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size))});
    for (std::size_t position = 0; position < good.size(); ++position)
        for (std::uint8_t const value : std::array<std::uint8_t, 5>{0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            if (good[position] == value) continue;
            Bytes damaged = good;
            damaged[position] = value;
            frames.push_back(
                {name + " with byte " + std::to_string(position) + " = " + std::to_string(value), damaged});
        }
}

someip::Header hostileHeader(std::uint16_t service) {
    someip::Header header;
    header.service = service;
    header.method = 1;
    header.client = 0x0666;
    header.session = 1;
    header.interfaceVersion = 2;
    return header;
}

Frames hostileCalls(std::uint16_t service) {
    someip::Header header = hostileHeader(service);
    Frames frames;
    for (std::uint32_t const length : LENGTHS)
        for (std::size_t const payload : {0U, 1U, 8U}) {
            Bytes bytes = someip::encode(header, Bytes(payload, 0x5A));
            overwrite(bytes, 4, length);
            frames.push_back(
                {with("length", length) + " and " + std::to_string(payload) + " bytes of payload", bytes});
        }
    for (unsigned value = 0; value < 256; ++value) {
        auto const byte = static_cast<std::uint8_t>(value);
        auto changed = header;
        changed.type = byte;
        frames.push_back({with("message type", value), someip::encode(changed, {1, 2, 3})});
        if (value % 8 != 0 && value % 8 != 7) continue;
        changed = header;
        changed.code = byte;
        frames.push_back({with("request with return code", value), someip::encode(changed, {})});
        changed = header;
        changed.protocolVersion = byte;
        if (byte != someip::PROTOCOL_VERSION)
            frames.push_back({with("protocol version", value), someip::encode(changed, {})});
        changed = header;
        changed.interfaceVersion = byte;
        frames.push_back({with("interface version", value), someip::encode(changed, {})});
    }
    for (std::uint16_t const id :
         std::array<std::uint16_t, 7>{0x0000, 0x0001, 0x2001, 0x2002, 0x7FFF, 0xFFFE, 0xFFFF})
        for (std::uint16_t const method :
             std::array<std::uint16_t, 7>{0x0000, 0x0003, 0x7FFF, 0x8000, 0x8001, 0x8100, 0xFFFF}) {
            auto changed = header;
            changed.service = id;
            changed.method = method;
            frames.push_back({with("service", id) + with(", method", method), someip::encode(changed, {})});
        }
    for (auto const& [name, type] : {std::pair("request", someip::Message_type::request),
                                     {"request without a reply", someip::Message_type::requestNoReturn},
                                     {"notification", someip::Message_type::notification},
                                     {"response", someip::Message_type::response},
                                     {"error", someip::Message_type::error}}) {
        header.type = static_cast<std::uint8_t>(type);
        addDamaged(frames, name, someip::encode(header, {0, 0, 0, 0}));
    }
    addDamaged(frames, "client's magic cookie",
               someip::encode({0xFFFF, 0x0000, 0xDEAD, 0xBEEF, 1, 1, 1, 0}, {}));
    addDamaged(frames, "server's magic cookie",
               someip::encode({0xFFFF, 0x8000, 0xDEAD, 0xBEEF, 1, 1, 2, 0}, {}));
    return frames;
}

Bytes Discovery_words::bytes() const {
    Bytes payload = {flags, 0, 0, 0};
    put(payload, entriesLength, 4);
    payload.insert(payload.end(), {type, firstOption, secondOption, optionCounts});
    put(payload, service, 2);
    put(payload, instance, 2);
    put(payload, static_cast<std::uint32_t>(major) << 24U | (ttl & 0xFFFFFFU), 4);
    put(payload, last, 4);
    put(payload, optionsLength, 4);
    put(payload, optionLength, 2);
    payload.insert(payload.end(), {optionType, 0});
    put(payload, endpoint.address.ip, 4);
    bool const tcp = endpoint.transport == Transport::tcp;
    payload.insert(payload.end(), {0, protocol != 0 ? protocol : static_cast<std::uint8_t>(tcp ? 6 : 17)});
    put(payload, endpoint.address.port, 2);
    return someip::encode({0xFFFF, 0x8100, 0, session, 1, 1, 2, 0}, payload);
}

Frames hostileDiscovery(std::uint16_t service, Endpoint const& claimed) {
    Discovery_words offer;
    offer.service = service;
    offer.endpoint = claimed;
    Discovery_words subscribe = offer;
    subscribe.type = 0x06;
    subscribe.last = 1;  // eventgroup

    Frames frames;
    std::uint16_t session = 0;
    auto const add = [&](std::string const& name, Discovery_words words) {
        words.session = ++session;
        frames.push_back({name, words.bytes()});
    };
    for (auto const& [name, good] : {std::pair("offer", offer), std::pair("subscription", subscribe)}) {
        std::string const kind = name;
        addDamaged(frames, kind, good.bytes());
        for (unsigned value = 0; value < 256; ++value) {
            auto const byte = static_cast<std::uint8_t>(value);
            auto changed = good;
            changed.firstOption = byte;
            add(with((kind + " with option index").c_str(), value), changed);
            changed = good;
            changed.optionCounts = byte;
            add(with((kind + " with option counts").c_str(), value), changed);
            changed = good;
            changed.optionType = byte;
            add(with((kind + " with option type").c_str(), value), changed);
            if (value % 4 != 0) continue;
            changed = good;
            changed.secondOption = byte;
            changed.optionCounts = 0x11;
            add(with((kind + " with second option index").c_str(), value), changed);
            changed = good;
            changed.protocol = byte == 0 ? 1 : byte;
            add(with((kind + " with protocol").c_str(), changed.protocol), changed);
        }
        for (std::uint32_t const length : LENGTHS) {
            auto changed = good;
            changed.entriesLength = length;
            add(with((kind + " with length of entries").c_str(), length), changed);
            changed = good;
            changed.optionsLength = length;
            add(with((kind + " with length of options").c_str(), length), changed);
            changed = good;
            changed.optionLength = static_cast<std::uint16_t>(length);
            add(with((kind + " with length of its option").c_str(), changed.optionLength), changed);
        }
        for (std::uint32_t const ip : {0x00000000U, 0x7F000001U, 0xE0F4E0F5U, 0xFFFFFFFFU}) {
            auto changed = good;
            changed.endpoint.address.ip = ip;
            add(with((kind + " for address").c_str(), ip), changed);
            changed.endpoint.address.port = 0;
            add(with((kind + " for port 0 of address").c_str(), ip), changed);
        }
    }
    for (unsigned type = 0; type < 256; ++type) {
        auto changed = offer;
        changed.type = static_cast<std::uint8_t>(type);
        add(with("entry of type", type), changed);
    }
    auto changed = subscribe;
    changed.type = 0x07;
    for (std::uint32_t const ttl : {0U, 3U, 0xFFFFFFU}) {
        changed.ttl = ttl;
        add(with("acknowledgement that nobody asked for, of ttl", ttl), changed);
    }
    return frames;
}

}  // namespace eb::com::runtime::testing
