#include "platform/com/deployment/Manifest.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include <ac/com/Exceptions.h>
#include <nlohmann/json.hpp>

namespace eb::com::runtime {
namespace {

using Json = nlohmann::json;

/// A value in the manifest together with the way to it, which every complaint names.
class Node {
public:
    Node(std::string const& origin, std::string path, Json const& value)
        : m_origin(&origin), m_path(std::move(path)), m_value(&value) {}

    [[noreturn]] void refuse(std::string const& rule) const {
        throw ac::com::Invalid_argument_exception(*m_origin + ": " + m_path + " = " + shown() + ": " + rule);
    }

    bool has(std::string const& key) const { return m_value->contains(key); }

    Node operator[](std::string const& key) const {
        auto const found = m_value->find(key);
        if (found == m_value->end())
            throw ac::com::Invalid_argument_exception(*m_origin + ": " + under(key) + ": is missing");
        return {*m_origin, under(key), *found};
    }

    /// An object with no other keys than these.
    Node const& object(std::initializer_list<char const*> keys) const {
        if (!m_value->is_object()) refuse("has to be an object");
        for (auto const& [key, value] : m_value->items())
            if (std::find(keys.begin(), keys.end(), key) == keys.end())
                Node(*m_origin, under(key), value).refuse("no such key");
        return *this;
    }

    std::vector<Node> elements() const {
        if (!m_value->is_array() || m_value->empty()) refuse("has to be a list with at least one element");
        std::vector<Node> nodes;
        for (std::size_t index = 0; index < m_value->size(); ++index)
            nodes.emplace_back(*m_origin, m_path + "[" + std::to_string(index) + "]", (*m_value)[index]);
        return nodes;
    }

    std::string text() const {
        if (!m_value->is_string() || m_value->get<std::string>().empty()) refuse("has to be a text");
        return m_value->get<std::string>();
    }

    bool flag() const {
        if (!m_value->is_boolean()) refuse("has to be true or false");
        return m_value->get<bool>();
    }

    /// A number, or a text such as "0xB047".
    template <class Number>
    Number number(std::uint64_t least, std::uint64_t most) const {
        std::uint64_t value = 0;
        bool valid = m_value->is_number_unsigned();
        if (valid) {
            value = m_value->get<std::uint64_t>();
        } else if (m_value->is_string()) {
            std::string const digits = m_value->get<std::string>();
            valid = digits.size() > 2 && digits.size() <= 10 && digits.rfind("0x", 0) == 0 &&
                    digits.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
            if (valid) value = std::stoull(digits, nullptr, 16);
        }
        if (!valid || value < least || value > most)
            refuse("has to be a number from " + std::to_string(least) + " to " + std::to_string(most));
        return static_cast<Number>(value);
    }

private:
    std::string under(std::string const& key) const { return m_path.empty() ? key : m_path + "." + key; }
    std::string shown() const { return m_value->dump(-1, ' ', false, Json::error_handler_t::replace); }

    std::string const* m_origin;
    std::string m_path;
    Json const* m_value;
};

std::optional<std::uint32_t> parseIp(std::string const& text) {
    std::istringstream stream(text);
    std::uint32_t ip = 0;
    for (int part = 0; part < 4; ++part) {
        unsigned number = 0;
        if (part != 0 && stream.get() != '.') return {};
        if (stream.peek() < '0' || stream.peek() > '9' || !(stream >> number) || number > 255) return {};
        ip = (ip << 8U) | number;
    }
    return stream.peek() == std::istringstream::traits_type::eof() ? std::optional(ip) : std::nullopt;
}

constexpr char const* ADDRESS_RULE = "has to be an IPv4 address of one interface, such as 127.0.0.1";

std::uint32_t readIp(Node const& node) {
    auto const ip = parseIp(node.text());
    if (!ip || !isUnicast(*ip)) node.refuse(ADDRESS_RULE);
    return *ip;
}

Endpoint readEndpoint(Node const& node) {
    node.object({"transport", "address", "port"});
    Endpoint endpoint;
    std::string const transport = node["transport"].text();
    if (transport != "tcp" && transport != "udp") node["transport"].refuse("has to be \"tcp\" or \"udp\"");
    endpoint.transport = transport == "tcp" ? Transport::tcp : Transport::udp;
    endpoint.address.ip = readIp(node["address"]);
    endpoint.address.port = node["port"].number<std::uint16_t>(1, 0xFFFF);
    return endpoint;
}

std::vector<Method_deployment> readMethods(Node const& node) {
    std::vector<Method_deployment> methods;
    std::set<std::string> names;
    std::set<std::uint16_t> ids;
    for (Node const& row : node.elements()) {
        row.object({"name", "id"});
        // Ids from 0x8000 stand for events.
        methods.push_back({row["name"].text(), row["id"].number<std::uint16_t>(1, 0x7FFF)});
        if (!names.insert(methods.back().name).second) row["name"].refuse("stands twice");
        if (!ids.insert(methods.back().id).second) row["id"].refuse("stands twice");
    }
    std::sort(methods.begin(), methods.end(), [](auto const& a, auto const& b) { return a.name < b.name; });
    return methods;
}

std::vector<Event_deployment> readEvents(Node const& node) {
    std::vector<Event_deployment> events;
    std::set<std::string> names;
    std::set<std::uint16_t> ids;
    for (Node const& row : node.elements()) {
        row.object({"name", "id", "eventgroup", "field"});
        Event_deployment event;
        event.name = row["name"].text();
        event.id = row["id"].number<std::uint16_t>(0x8000, 0xFFFE);
        event.eventgroup = row["eventgroup"].number<std::uint16_t>(1, 0xFFFE);
        event.field = row.has("field") && row["field"].flag();
        if (!names.insert(event.name).second) row["name"].refuse("stands twice");
        if (!ids.insert(event.id).second) row["id"].refuse("stands twice");
        events.push_back(std::move(event));
    }
    std::sort(events.begin(), events.end(), [](auto const& a, auto const& b) { return a.name < b.name; });
    return events;
}

Service_deployment readService(Node const& node) {
    node.object(
        {"interface", "instance", "service_id", "instance_id", "version", "methods", "events", "endpoint"});
    Service_deployment service;
    service.interface.value = node["interface"].text();
    service.instance.value = node["instance"].text();
    service.serviceId = node["service_id"].number<std::uint16_t>(1, 0xFFFE);  // 0xFFFF is discovery's own
    service.instanceId = node["instance_id"].number<std::uint16_t>(1, 0xFFFE);
    if (node.has("version")) {
        Node const version = node["version"].object({"major", "minor"});
        service.version = {version["major"].number<std::uint8_t>(0, 0xFE),
                           version["minor"].number<std::uint32_t>(0, 0xFFFFFFFEU)};
    }
    service.methods = readMethods(node["methods"]);
    if (node.has("events")) service.events = readEvents(node["events"]);
    service.endpoint = readEndpoint(node["endpoint"]);
    return service;
}

Limits readLimits(Node const& node) {
    node.object({"message_bytes", "send_queue_bytes", "outstanding_calls", "queued_calls", "queued_bytes",
                 "connections", "message_limit_ms", "call_limit_ms", "connect_limit_ms"});
    Limits limits;
    constexpr std::uint64_t GIBIBYTE = 1U << 30U;
    constexpr std::uint64_t HOUR = 3'600'000;
    auto const read = [&](char const* key, auto& value, std::uint64_t most) {
        if (node.has(key)) value = node[key].number<std::size_t>(1, most);
    };
    auto const readTime = [&](char const* key, std::chrono::milliseconds& value) {
        if (node.has(key)) value = std::chrono::milliseconds(node[key].number<std::int64_t>(1, HOUR));
    };
    read("message_bytes", limits.messageBytes, GIBIBYTE);
    read("send_queue_bytes", limits.sendQueueBytes, GIBIBYTE);
    read("outstanding_calls", limits.outstandingCalls, 0xFFFF);
    read("queued_calls", limits.queuedCalls, 0xFFFF);
    read("queued_bytes", limits.queuedBytes, GIBIBYTE);
    read("connections", limits.connections, 0xFFFF);
    readTime("message_limit_ms", limits.messageLimit);
    readTime("call_limit_ms", limits.callLimit);
    readTime("connect_limit_ms", limits.connectLimit);
    if (limits.sendQueueBytes < limits.messageBytes)
        node.refuse("send_queue_bytes can't be smaller than message_bytes");
    return limits;
}

/// "address", which stands for the first port of the range there, or "address:port".
Address readPeer(Node const& node, Port_range const& range) {
    std::string const text = node.text();
    std::size_t const colon = std::min(text.find(':'), text.size());
    std::string const digits = text.substr(std::min(colon + 1, text.size()));
    auto const ip = parseIp(text.substr(0, colon));
    bool const valid = ip && isUnicast(*ip) && digits.size() <= 5 &&
                       (colon == text.size() || !digits.empty()) &&
                       digits.find_first_not_of("0123456789") == std::string::npos;
    unsigned long const port = valid && !digits.empty() ? std::stoul(digits) : 1;
    if (!valid || port == 0 || port > 0xFFFF)
        node.refuse("has to be an IPv4 address, or one with a port, such as 192.168.0.7:30490");
    return {*ip, digits.empty() ? range.first : static_cast<std::uint16_t>(port)};
}

Discovery::Mode readMode(Node const& node) {
    std::string const mode = node.text();
    if (mode == "unicast") return Discovery::Mode::unicast;
    if (mode == "multicast") return Discovery::Mode::multicast;
    if (mode != "static") node.refuse("has to be \"unicast\", \"multicast\" or \"static\"");
    return Discovery::Mode::fixed;
}

Discovery::Delay readDelay(Node const& node) {
    node.object({"min", "max"});
    constexpr std::uint64_t MINUTE = 60'000;
    Discovery::Delay const delay{std::chrono::milliseconds(node["min"].number<std::int64_t>(0, MINUTE)),
                                 std::chrono::milliseconds(node["max"].number<std::int64_t>(0, MINUTE))};
    if (delay.least > delay.most) node.refuse("max can't be smaller than min");
    return delay;
}

/// `address` is that of the services, which holds where no other is named.
Discovery readDiscovery(Node const& node, std::uint32_t address) {
    node.object({"mode", "address", "ports", "peers", "multicast", "ttl_s", "initial_delay_ms",
                 "repetition_base_ms", "repetitions", "cyclic_ms", "request_response_delay_ms"});
    Discovery discovery;
    if (node.has("mode")) discovery.mode = readMode(node["mode"]);
    discovery.ports.ip = node.has("address") ? readIp(node["address"]) : address;
    if (node.has("ports")) {
        Node const ports = node["ports"].object({"first", "count"});
        if (ports.has("first")) discovery.ports.first = ports["first"].number<std::uint16_t>(1, 0xFFFF);
        if (ports.has("count")) discovery.ports.count = ports["count"].number<std::uint16_t>(1, 256);
        if (discovery.ports.first + discovery.ports.count > 0x10000) ports.refuse("goes beyond port 65535");
    }
    if (node.has("peers"))
        for (Node const& peer : node["peers"].elements())
            discovery.peers.push_back(readPeer(peer, discovery.ports));
    discovery.interface = discovery.ports.ip;
    if (node.has("multicast")) {
        Node const multicast = node["multicast"].object({"group", "port", "interface"});
        if (multicast.has("group")) {
            auto const group = parseIp(multicast["group"].text());
            if (!group || *group >> 28U != 0xE)
                multicast["group"].refuse("has to be an IPv4 multicast address, such as 224.244.224.245");
            discovery.group.ip = *group;
        }
        if (multicast.has("port")) discovery.group.port = multicast["port"].number<std::uint16_t>(1, 0xFFFF);
        if (multicast.has("interface")) discovery.interface = readIp(multicast["interface"]);
    }
    constexpr std::uint64_t HOUR = 3'600'000;
    if (node.has("ttl_s"))
        discovery.ttl = std::chrono::seconds(node["ttl_s"].number<std::int64_t>(1, 0xFFFFFF));
    if (node.has("initial_delay_ms")) discovery.initialDelay = readDelay(node["initial_delay_ms"]);
    if (node.has("repetition_base_ms"))
        discovery.repetitionBase =
            std::chrono::milliseconds(node["repetition_base_ms"].number<std::int64_t>(1, HOUR));
    if (node.has("repetitions")) discovery.repetitions = node["repetitions"].number<unsigned>(0, 10);
    if (node.has("cyclic_ms"))
        discovery.cyclic = std::chrono::milliseconds(node["cyclic_ms"].number<std::int64_t>(10, HOUR));
    if (node.has("request_response_delay_ms"))
        discovery.requestResponseDelay = readDelay(node["request_response_delay_ms"]);
    if (discovery.cyclic >= discovery.ttl)
        node.refuse("cyclic_ms has to be shorter than ttl_s, or offers run out before they are renewed");
    return discovery;
}

/// Two rows that can't both hold.
void refuseContradictions(std::vector<Node> const& nodes, std::vector<Service_deployment> const& services) {
    std::map<std::pair<std::string, std::string>, std::size_t> names;
    std::map<std::pair<Endpoint, std::uint16_t>, std::size_t> onWire;
    auto const refuse = [&](std::size_t index, std::size_t other, char const* key, char const* rule) {
        nodes[index][key].refuse(rule + std::string(" services[") + std::to_string(other) + "]");
    };
    for (std::size_t index = 0; index < services.size(); ++index) {
        Service_deployment const& row = services[index];
        auto const name = names.try_emplace({row.interface.value, row.instance.value}, index);
        if (!name.second) refuse(index, name.first->second, "interface", "has the same instance as");
        // A header names the service but not the instance: the endpoint has to tell which one is meant.
        auto const wire = onWire.try_emplace({row.endpoint, row.serviceId}, index);
        if (!wire.second) refuse(index, wire.first->second, "service_id", "has the same endpoint as");
    }
}

/// Where in the text a parser stands, as the way from the root: `services[3].endpoint.port`.
class Way {
public:
    void enter(bool list) { m_levels.push_back({list, 0, {}, {}}); }
    void leave() {
        m_levels.pop_back();
        passValue();
    }
    void passValue() {
        if (!m_levels.empty()) ++m_levels.back().index;
    }
    /// Returns false if the object has that key already.
    bool passKey(std::string const& key) {
        m_levels.back().key = key;
        return m_levels.back().keys.insert(key).second;
    }

    std::string text() const {
        std::string way;
        for (Level const& level : m_levels) {
            if (level.list)
                way += "[" + std::to_string(level.index) + "]";
            else
                way += (way.empty() ? "" : ".") + level.key;
        }
        return way;
    }

private:
    struct Level {
        bool list;
        std::size_t index;
        std::string key;
        std::set<std::string> keys;
    };
    std::vector<Level> m_levels;
};

/// Refuses what JSON would take without a word, such as a key that stands twice in one object.
Json parseJson(std::string const& text, std::string const& origin) {
    Way way;
    auto const watch = [&](int, Json::parse_event_t event, Json& value) {
        switch (event) {
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                way.enter(event == Json::parse_event_t::array_start);
                break;
            case Json::parse_event_t::object_end:
            case Json::parse_event_t::array_end:
                way.leave();
                break;
            case Json::parse_event_t::value:
                way.passValue();
                break;
            case Json::parse_event_t::key:
                if (!way.passKey(value.get<std::string>()))
                    throw ac::com::Invalid_argument_exception(origin + ": " + way.text() +
                                                              ": stands twice in one object");
        }
        return true;
    };
    try {
        return Json::parse(text, watch);
    } catch (Json::parse_error const& error) {
        throw ac::com::Invalid_argument_exception(origin + ": is no JSON: " + error.what());
    } catch (Json::out_of_range const& error) {  // a number beyond what any type holds
        std::string const what = error.what();
        throw ac::com::Invalid_argument_exception(origin + ": " + way.text() + ": " +
                                                  what.substr(what.find("] ") + 2));
    }
}

}  // namespace

Deployment parseManifest(std::string const& text, std::string const& origin,
                         std::optional<std::string> const& address) {
    Json json = parseJson(text, origin);
    Node(origin, "", json).object({"defaults", "discovery", "limits", "services"});
    if (json.contains("defaults")) {
        if (!json["defaults"].is_object())
            Node(origin, "defaults", json["defaults"]).refuse("has to be an object");
        if (json.contains("services") && json["services"].is_array())
            for (Json& row : json["services"]) {
                if (!row.is_object()) continue;
                Json merged = json["defaults"];
                merged.merge_patch(row);
                row = std::move(merged);
            }
    }

    Deployment deployment;
    deployment.origin = origin;
    Node const root(origin, "", json);
    if (root.has("limits")) deployment.limits = readLimits(root["limits"]);
    std::vector<Node> const nodes = root["services"].elements();
    for (Node const& node : nodes) {
        deployment.services.push_back(readService(node));
        if (!address) continue;
        auto const ip = parseIp(*address);
        if (!ip || !isUnicast(*ip))
            throw ac::com::Invalid_argument_exception("environment: ARA_COM_ADDRESS = " + *address + ": " +
                                                      ADDRESS_RULE);
        deployment.services.back().endpoint.address.ip = *ip;
    }
    refuseContradictions(nodes, deployment.services);
    Json const none = Json::object();
    deployment.discovery =
        readDiscovery(root.has("discovery") ? root["discovery"] : Node(origin, "discovery", none),
                      deployment.services.front().endpoint.address.ip);
    return deployment;
}

Deployment readManifest() {
    auto const environment = [](char const* variable) {
        char const* value = std::getenv(variable);
        return value == nullptr || *value == '\0' ? std::optional<std::string>()
                                                  : std::optional<std::string>(value);
    };
    auto const address = environment("ARA_COM_ADDRESS");
    auto const path = environment("ARA_COM_MANIFEST");
    if (!path) return parseManifest(DEFAULT_MANIFEST, "built-in manifest", address);
    std::ifstream file(*path);
    std::stringstream text;
    if (!(text << file.rdbuf()))
        throw ac::com::Invalid_argument_exception("environment: ARA_COM_MANIFEST = " + *path +
                                                  ": can't be read");
    return parseManifest(text.str(), *path, address);
}

}  // namespace eb::com::runtime
