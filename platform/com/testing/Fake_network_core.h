#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/com/testing/Fake_network.h"

namespace eb::com::runtime::testing {

/// What the links of one runtime have in common.
struct Fake_host {
    std::uint32_t ip;
    std::shared_ptr<Loop> loop;
    std::size_t sendQueueBytes;
    std::mt19937_64 dice;  // guarded by the core's mutex
};

struct Fake_datagram {
    std::vector<std::uint8_t> bytes;
    Address from;
};

/// A UDP socket. All of it is guarded by the core's mutex.
struct Fake_socket {
    std::shared_ptr<Fake_host> host;
    Address local;
    Address remote;       // of a connected one; no port otherwise
    bool member = false;  // of the multicast group at `local`
    std::weak_ptr<someip::Link_user> user;
    std::deque<Fake_datagram> inbox;
    bool started = false;
    bool paused = false;
    bool closed = false;
};

struct Fake_segment {
    std::vector<std::uint8_t> bytes;  // empty: the end
    std::chrono::milliseconds due;
};

/// One end of a stream.
///
///     connecting --accepted--> connected --close, fail--> closed (the other end hears of it)
///
/// All of it is guarded by the core's mutex.
struct Fake_stream {
    std::shared_ptr<Fake_host> host;
    Address local;
    Address remote;
    std::weak_ptr<Fake_stream> peer;
    std::weak_ptr<someip::Link_user> user;
    std::deque<std::vector<std::uint8_t>> outgoing;
    std::size_t queued = 0;  // bytes of outgoing
    std::deque<Fake_segment> incoming;
    std::size_t unread = 0;                  // bytes of incoming
    std::chrono::milliseconds lastDue{0};    // of incoming
    std::chrono::milliseconds notBefore{0};  // nothing is read, or connected, after a partition
    bool started = false;
    bool connecting = false;  // the door was knocked at
    bool connected = false;
    bool paused = false;
    bool endSending = false;  // asked for
    bool endSent = false;
    bool endReceived = false;
    bool failing = false;  // fail is on its way: nothing else is heard
    bool closed = false;
};

/// All of it belongs to the io thread of its host, `closed` apart: guarded by the core's mutex.
struct Fake_door {
    std::shared_ptr<Fake_host> host;
    Address local;
    someip::Network::Accepted accepted;
    bool closed = false;
};

/// Functions named ...Locked are called with the mutex held. Users are called without it, on their loop.
struct Fake_network::Core : std::enable_shared_from_this<Fake_network::Core> {
    Core(Fake_clock itsClock, std::uint64_t itsSeed) : clock(std::move(itsClock)), seed(itsSeed) {}

    mutable std::mutex mutex;
    Fake_clock clock;
    std::uint64_t const seed;
    // guarded by mutex:
    Faults faults;
    Traffic traffic;
    std::set<std::pair<std::uint32_t, std::uint32_t>> partitions;
    std::set<std::uint32_t> stalled;
    std::map<Address, std::shared_ptr<Fake_socket>> sockets;
    std::multimap<Address, std::shared_ptr<Fake_socket>> groups;  // by the multicast address
    std::map<Address, std::shared_ptr<Fake_door>> doors;
    std::vector<std::weak_ptr<Fake_stream>> streams;
    std::vector<std::shared_ptr<Fake_stream>> heldBack;  // connecting across a partition
    std::map<std::uint32_t, std::uint16_t> lastPort;

    bool isCutLocked(std::uint32_t one, std::uint32_t other) const;
    bool happensLocked(Fake_host& host, double probability);
    std::chrono::milliseconds delayLocked(Fake_host& host);
    Address freeAddressLocked(std::uint32_t ip);
    /// To be declared before the lock: the last owner of a stream may be in it.
    using Streams = std::vector<std::shared_ptr<Fake_stream>>;
    Streams openStreamsLocked();

    // Fake_datagrams.cpp
    std::shared_ptr<someip::Link> datagrams(std::shared_ptr<Fake_host> host, Address local, Address remote);
    std::shared_ptr<someip::Link> group(std::shared_ptr<Fake_host> host, Address address);
    void send(Fake_socket& from, std::vector<std::uint8_t> bytes, Address to);
    void carryLocked(Fake_socket& from, std::shared_ptr<Fake_socket> const& to,
                     std::vector<std::uint8_t> const& bytes);
    void arrived(std::weak_ptr<Fake_socket> const& weak, Fake_datagram datagram);
    void read(std::shared_ptr<Fake_socket> const& socket);
    void close(std::shared_ptr<Fake_socket> const& socket);

    // Fake_streams.cpp
    std::unique_ptr<someip::Listener> listen(std::shared_ptr<Fake_host> host, Address local,
                                             someip::Network::Accepted accepted);
    std::shared_ptr<someip::Link> stream(std::shared_ptr<Fake_host> host, Address remote);
    void connect(std::shared_ptr<Fake_stream> const& end);
    void knocked(std::shared_ptr<Fake_stream> const& end, std::shared_ptr<Fake_door> const& door);
    void opened(std::shared_ptr<Fake_stream> const& end);
    void send(std::shared_ptr<Fake_stream> const& end, std::vector<std::uint8_t> bytes);
    void passOnLocked(std::shared_ptr<Fake_stream> const& end);
    void pushLocked(std::shared_ptr<Fake_stream> const& to, Fake_host& from, std::vector<std::uint8_t> bytes);
    void read(std::shared_ptr<Fake_stream> const& end);
    void readLaterLocked(std::shared_ptr<Fake_stream> const& end, std::chrono::milliseconds delay);
    void close(std::shared_ptr<Fake_stream> const& end);
    void hurry(std::shared_ptr<Fake_stream> const& end);
    void fail(std::shared_ptr<Fake_stream> const& end, std::error_code const& reason);
    void failLaterLocked(std::shared_ptr<Fake_stream> const& end, std::errc reason,
                         std::chrono::milliseconds delay = {});
    void disconnect(std::function<bool(Fake_stream const&)> const& which);
};

}  // namespace eb::com::runtime::testing
