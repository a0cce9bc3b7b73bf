#include "platform/com/testing/Fake_network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "platform/com/testing/Fake_network_core.h"

namespace eb::com::runtime::testing {

using std::chrono::milliseconds;
using Core = Fake_network::Core;

namespace {

constexpr std::uint16_t FIRST_FREE_PORT = 49'152;

std::pair<std::uint32_t, std::uint32_t> ordered(std::uint32_t one, std::uint32_t other) {
    return std::minmax(one, other);
}

class Host_network : public someip::Network {
public:
    Host_network(std::shared_ptr<Core> core, std::shared_ptr<Fake_host> host)
        : m_core(std::move(core)), m_host(std::move(host)) {}

    std::unique_ptr<someip::Listener> listen(Address const& local, Accepted accepted) override {
        return m_core->listen(m_host, local, std::move(accepted));
    }
    std::shared_ptr<someip::Link> bindDatagrams(Address const& local) override {
        return m_core->datagrams(m_host, local, {});
    }
    std::shared_ptr<someip::Link> bindGroup(Address const& group, std::uint32_t /*interface*/) override {
        return m_core->group(m_host, group);
    }
    std::shared_ptr<someip::Link> connect(Endpoint const& remote) override {
        if (remote.transport == Transport::tcp) return m_core->stream(m_host, remote.address);
        return m_core->datagrams(m_host, {m_host->ip, 0}, remote.address);
    }
    std::shared_ptr<someip::Link> connectFrom(std::uint32_t /*local*/, Address const& remote) override {
        return m_core->stream(m_host, remote);
    }

private:
    std::shared_ptr<Core> m_core;
    std::shared_ptr<Fake_host> m_host;
};

}  // namespace

bool Core::isCutLocked(std::uint32_t one, std::uint32_t other) const {
    return partitions.contains(ordered(one, other));
}

bool Core::happensLocked(Fake_host& host, double probability) {
    return probability > 0 && std::uniform_real_distribution<>(0, 1)(host.dice) < probability;
}

milliseconds Core::delayLocked(Fake_host& host) {
    if (faults.delayTo.count() == 0) return milliseconds(0);
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(faults.delayFrom.count(),
                                                                         faults.delayTo.count())(host.dice));
}

Address Core::freeAddressLocked(std::uint32_t ip) {
    Address address{ip, 0};
    auto& last = lastPort.try_emplace(ip, std::uint16_t{FIRST_FREE_PORT - 1}).first->second;
    do {
        last = last == 0xFFFF ? FIRST_FREE_PORT : static_cast<std::uint16_t>(last + 1);
        address.port = last;
    } while (doors.contains(address) || sockets.contains(address));
    return address;
}

Core::Streams Core::openStreamsLocked() {
    Streams open;
    std::erase_if(streams, [&](auto const& weak) {
        auto end = weak.lock();
        if (!end || end->closed) return true;
        open.push_back(std::move(end));
        return false;
    });
    return open;
}

Fake_network::Fake_network(Fake_clock& clock, std::uint64_t seed)
    : m_core(std::make_shared<Core>(clock, seed)) {}

std::unique_ptr<someip::Network> Fake_network::host(std::uint32_t ip, std::shared_ptr<Loop> loop,
                                                    std::size_t sendQueueBytes) {
    return std::make_unique<Host_network>(
        m_core, std::make_shared<Fake_host>(
                    Fake_host{ip, std::move(loop), sendQueueBytes, std::mt19937_64(m_core->seed ^ ip)}));
}

void Fake_network::set(Faults const& faults) {
    std::lock_guard lock(m_core->mutex);
    m_core->faults = faults;
}

void Fake_network::partition(std::uint32_t one, std::uint32_t other) {
    std::lock_guard lock(m_core->mutex);
    m_core->partitions.insert(ordered(one, other));
}

void Fake_network::heal(milliseconds pause) {
    Core::Streams connecting;
    Core::Streams open;
    {
        std::lock_guard lock(m_core->mutex);
        connecting.swap(m_core->heldBack);
        open = m_core->openStreamsLocked();
        for (auto const& end : open) {
            bool const waits = end->unread != 0 && m_core->isCutLocked(end->local.ip, end->remote.ip);
            if (waits) end->notBefore = m_core->clock.now() + pause;
            m_core->readLaterLocked(end, waits ? pause : milliseconds(0));
        }
        m_core->partitions.clear();
        for (auto const& end : connecting) end->notBefore = m_core->clock.now() + pause;
    }
    for (auto const& end : connecting)
        m_core->clock.later(end->host->loop, pause, [core = m_core, end] { core->connect(end); });
}

void Fake_network::disconnect() {
    m_core->disconnect([](Fake_stream const&) { return true; });
}

void Fake_network::disconnect(std::uint32_t one, std::uint32_t other) {
    m_core->disconnect([between = ordered(one, other)](Fake_stream const& end) {
        return ordered(end.local.ip, end.remote.ip) == between;
    });
}

void Fake_network::stall(std::uint32_t reader, bool stalled) {
    Core::Streams open;
    std::lock_guard lock(m_core->mutex);
    if (stalled)
        m_core->stalled.insert(reader);
    else
        m_core->stalled.erase(reader);
    open = m_core->openStreamsLocked();
    for (auto const& end : open) m_core->readLaterLocked(end, {});
}

Traffic Fake_network::traffic() const {
    std::lock_guard lock(m_core->mutex);
    return m_core->traffic;
}

std::size_t Fake_network::openPorts() const {
    std::lock_guard lock(m_core->mutex);
    return m_core->doors.size() + m_core->sockets.size() + m_core->groups.size();
}

std::size_t Fake_network::streams() const {
    Core::Streams open;
    std::lock_guard lock(m_core->mutex);
    open = m_core->openStreamsLocked();
    std::set<std::pair<Address, Address>> different;
    for (auto const& end : open) different.insert(std::minmax(end->local, end->remote));
    return different.size();
}

std::uint64_t seedOfThisTest() {
    char const* const wanted = std::getenv("FAKE_NETWORK_SEED");
    std::uint64_t const seed = wanted != nullptr ? std::strtoull(wanted, nullptr, 0) : std::random_device()();
    std::cout << "FAKE_NETWORK_SEED=" << seed << std::endl;
    ::testing::Test::RecordProperty("FAKE_NETWORK_SEED", std::to_string(seed));
    return seed;
}

}  // namespace eb::com::runtime::testing
