#pragma once

#include <atomic>
#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <eb/com/runtime/Ids.h>

namespace eb::com::runtime {

/// An IPv4 address with a port, both in the machine's byte order.
struct Address {
    std::uint32_t ip = 0;
    std::uint16_t port = 0;
    auto operator<=>(Address const&) const = default;

    std::string text() const;  ///< "127.0.0.1:30509"
};

/// Addresses that can stand for one machine: not 0.0.0.0, no multicast or broadcast.
constexpr bool isUnicast(std::uint32_t ip) noexcept {
    return ip != 0 && ip < 0xE0000000U;
}

enum class Transport : std::uint8_t { tcp, udp };

/// Where a service is reached on the wire.
struct Endpoint {
    Transport transport = Transport::tcp;
    Address address;
    auto operator<=>(Endpoint const&) const = default;

    std::string text() const;  ///< "tcp 127.0.0.1:30509"
};

/// A method under its name and its id on the wire.
struct Method_deployment {
    std::string name;
    std::uint16_t id = 0;
};

/// An event, or a field's notifier, under its name and its number on the wire.
struct Event_deployment {
    std::string name;
    std::uint16_t id = 0;  ///< from 0x8000
    std::uint16_t eventgroup = 0;
    bool field = false;  ///< whether its last value is given to late subscribers
};

/// An interface's version on the wire: the one that the manifest says, or else the one that the program gives
/// to its first port of the instance. Until then it is any version. Any thread.
class Service_version {
public:
    static constexpr std::uint8_t ANY_MAJOR = 0xFF;
    static constexpr std::uint32_t ANY_MINOR = 0xFFFFFFFF;

    Service_version() = default;
    Service_version(std::uint8_t major, std::uint32_t minor) noexcept : m_value(packed(major, minor)) {}
    Service_version(Service_version const& other) noexcept : m_value(other.m_value.load()) {}
    Service_version& operator=(Service_version const& other) noexcept {
        m_value = other.m_value.load();
        return *this;
    }

    std::uint8_t major() const noexcept { return static_cast<std::uint8_t>(m_value >> 32U); }
    std::uint32_t minor() const noexcept { return static_cast<std::uint32_t>(m_value); }
    std::string text() const;  ///< "2.0"

    /// Takes the program's version, if there is none yet. Whether that is the version now.
    bool settle(Service_interface_description const& description) const noexcept;

private:
    static constexpr std::uint64_t packed(std::uint8_t major, std::uint32_t minor) noexcept {
        return std::uint64_t{major} << 32U | minor;
    }
    static constexpr std::uint64_t NONE = std::uint64_t{ANY_MAJOR} << 32U | ANY_MINOR;

    mutable std::atomic<std::uint64_t> m_value{NONE};
};

/// One instance of a service: its names in the program and its numbers on the wire.
struct Service_deployment {
    Service_id interface;
    Instance_id instance;
    std::uint16_t serviceId = 0;
    std::uint16_t instanceId = 0;
    Service_version version;  ///< its major number is the interface version in every header
    std::vector<Method_deployment>
        methods;  ///< by name, so that an index counts as skeletons and proxies count
    std::vector<Event_deployment> events;  ///< by name, as the methods
    Endpoint endpoint;                     ///< of methods and events alike
};

/// What the runtime bounds, so that no peer can make it grow or wait.
struct Limits {
    std::size_t messageBytes = 1U << 20U;    ///< of a message's payload
    std::size_t sendQueueBytes = 4U << 20U;  ///< waiting on one connection; more ends it
    std::size_t outstandingCalls = 256;      ///< taken from one connection; its socket isn't read above it
    std::size_t queuedCalls = 1024;          ///< of all connections, taken and not begun; as above
    std::size_t queuedBytes = 8U << 20U;     ///< payload of those calls
    std::size_t connections = 512;           ///< accepted at one endpoint; above it one has to go
    std::chrono::milliseconds messageLimit{10'000};  ///< from a message's first byte on a stream to its last
    std::chrono::milliseconds callLimit{90'000};     ///< from call to answer; a routine takes up to 60 s
    std::chrono::milliseconds connectLimit{3'000};
};

/// Neighbouring ports of one address.
struct Port_range {
    std::uint32_t ip = 0;
    std::uint16_t first = 0;
    std::uint16_t count = 1;

    std::string text() const;  ///< "127.0.0.1:30490-30505", or with one port as an address
};

/// How the processes find each other's services (SOME/IP service discovery). The defaults make a service
/// found in some milliseconds on one machine, and keep it found where every third datagram is lost.
struct Discovery {
    enum class Mode : std::uint8_t {
        unicast,    ///< messages go to `ports` and `peers`
        multicast,  ///< messages go to a multicast group and `peers`
        fixed,      ///< no discovery ("static"): services are where the manifest says
    };
    struct Delay {
        std::chrono::milliseconds least{0};
        std::chrono::milliseconds most{0};
    };
    static constexpr std::chrono::seconds FOR_EVER{0xFFFFFF};  ///< as a time to live

    Mode mode = Mode::unicast;
    /// The first is that of all processes of the address. They take their identities from the others.
    Port_range ports{0x7F000001, 30490, 16};
    std::vector<Address> peers;            ///< on other addresses
    Address group{0xE0F4E0F5, 30490};      ///< 224.244.224.245
    std::uint32_t interface = 0x7F000001;  ///< that hears the group
    std::chrono::seconds ttl{5};
    Delay initialDelay{std::chrono::milliseconds(0), std::chrono::milliseconds(10)};
    std::chrono::milliseconds repetitionBase{50};  ///< doubles from one repetition to the next
    unsigned repetitions = 3;
    std::chrono::milliseconds cyclic{500};
    Delay requestResponseDelay{std::chrono::milliseconds(0), std::chrono::milliseconds(10)};
};

/// The whole table. Never changed after it was read, versions that it left open apart, so any thread may read
/// it.
struct Deployment {
    std::string origin;  ///< file name of the manifest, or "built-in manifest"
    Limits limits;
    Discovery discovery;
    std::vector<Service_deployment> services;

    /// Null if the table has no such row.
    Service_deployment const* find(Service_id const& service, Instance_id const& instance) const noexcept;
};

}  // namespace eb::com::runtime
