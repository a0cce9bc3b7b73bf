#include <algorithm>
#include <utility>

#include "platform/com/testing/Fake_network_core.h"

namespace eb::com::runtime::testing {

using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;
using Core = Fake_network::Core;

namespace {

constexpr std::size_t READ_BYTES = 16'384;

class Stream_link : public someip::Link {
public:
    Stream_link(std::shared_ptr<Core> core, std::shared_ptr<Fake_stream> end)
        : m_core(std::move(core)), m_end(std::move(end)) {}
    ~Stream_link() override { m_core->close(m_end); }

    void start(std::weak_ptr<someip::Link_user> user) override {
        bool connected = false;
        {
            std::lock_guard lock(m_core->mutex);
            m_end->user = std::move(user);
            m_end->started = true;
            connected = m_end->connected;
            if (connected) m_core->readLaterLocked(m_end, {});
        }
        if (!connected) m_core->connect(m_end);
    }
    void send(Bytes bytes, Address const& /*to*/) override { m_core->send(m_end, std::move(bytes)); }
    bool idle() const override {
        std::lock_guard lock(m_core->mutex);
        return m_end->outgoing.empty();
    }
    void pause() override {
        std::lock_guard lock(m_core->mutex);
        m_end->paused = true;
    }
    void resume() override {
        std::lock_guard lock(m_core->mutex);
        m_end->paused = false;
        m_core->readLaterLocked(m_end, {});
    }
    void hurry() override { m_core->hurry(m_end); }
    void endSending() override {
        std::lock_guard lock(m_core->mutex);
        m_end->endSending = true;
        m_core->passOnLocked(m_end);
    }
    void close() override { m_core->close(m_end); }
    Address local() const override { return address(m_end->local); }
    Address remote() const override { return address(m_end->remote); }

private:
    Address address(Address const& known) const {
        std::lock_guard lock(m_core->mutex);
        return m_end->connected ? known : Address{};
    }

    std::shared_ptr<Core> m_core;
    std::shared_ptr<Fake_stream> m_end;
};

class Open_door : public someip::Listener {
public:
    Open_door(std::shared_ptr<Core> core, std::shared_ptr<Fake_door> door)
        : m_core(std::move(core)), m_door(std::move(door)) {}
    ~Open_door() override {
        std::lock_guard lock(m_core->mutex);
        m_door->closed = true;
        m_core->doors.erase(m_door->local);
    }

private:
    std::shared_ptr<Core> m_core;
    std::shared_ptr<Fake_door> m_door;
};

}  // namespace

std::unique_ptr<someip::Listener> Core::listen(std::shared_ptr<Fake_host> host, Address local,
                                               someip::Network::Accepted accepted) {
    auto const door = std::make_shared<Fake_door>(Fake_door{std::move(host), local, std::move(accepted)});
    std::lock_guard lock(mutex);
    if (door->local.port == 0) door->local = freeAddressLocked(local.ip);
    if (!doors.emplace(door->local, door).second)
        throw std::system_error(std::make_error_code(std::errc::address_in_use));
    return std::make_unique<Open_door>(shared_from_this(), door);
}

std::shared_ptr<someip::Link> Core::stream(std::shared_ptr<Fake_host> host, Address remote) {
    auto const end = std::make_shared<Fake_stream>();
    end->host = std::move(host);
    end->remote = remote;
    std::lock_guard lock(mutex);
    end->local = freeAddressLocked(end->host->ip);
    streams.push_back(end);
    return std::make_shared<Stream_link>(shared_from_this(), end);
}

void Core::connect(std::shared_ptr<Fake_stream> const& end) {
    std::lock_guard lock(mutex);
    if (end->closed || end->connecting || clock.now() < end->notBefore) return;
    if (isCutLocked(end->local.ip, end->remote.ip)) {
        heldBack.push_back(end);
        return;
    }
    end->connecting = true;
    auto const found = doors.find(end->remote);
    if (found == doors.end())
        return failLaterLocked(end, std::errc::connection_refused, delayLocked(*end->host));
    clock.later(found->second->host->loop, delayLocked(*end->host),
                [self = shared_from_this(), end, door = found->second] { self->knocked(end, door); });
}

void Core::knocked(std::shared_ptr<Fake_stream> const& end, std::shared_ptr<Fake_door> const& door) {
    auto const other = std::make_shared<Fake_stream>();
    {
        std::lock_guard lock(mutex);
        if (end->closed) return;
        if (door->closed) return failLaterLocked(end, std::errc::connection_refused);
        other->host = door->host;
        other->local = door->local;
        other->remote = end->local;
        other->connected = true;
        other->peer = end;
        end->peer = other;
        streams.push_back(other);
        clock.later(end->host->loop, delayLocked(*other->host),
                    [self = shared_from_this(), end] { self->opened(end); });
    }
    door->accepted(std::make_shared<Stream_link>(shared_from_this(), other));
}

void Core::opened(std::shared_ptr<Fake_stream> const& end) {
    std::shared_ptr<someip::Link_user> user;
    {
        std::lock_guard lock(mutex);
        if (end->closed || end->failing) return;
        end->connected = true;
        user = end->user.lock();
    }
    if (user) user->connected();
    {
        std::lock_guard lock(mutex);
        passOnLocked(end);
    }
    read(end);
}

void Core::send(std::shared_ptr<Fake_stream> const& end, Bytes bytes) {
    std::lock_guard lock(mutex);
    if (end->closed || end->endSending || end->failing) return;
    if (end->queued + bytes.size() > end->host->sendQueueBytes)
        return failLaterLocked(end, std::errc::no_buffer_space);
    end->queued += bytes.size();
    end->outgoing.push_back(std::move(bytes));
    passOnLocked(end);
}

void Core::passOnLocked(std::shared_ptr<Fake_stream> const& end) {
    if (end->closed || end->failing || !end->connected) return;
    auto const peer = end->peer.lock();
    if (!peer || peer->closed) {
        if (!end->outgoing.empty()) failLaterLocked(end, std::errc::connection_reset);
        return;
    }
    bool const waiting = !end->outgoing.empty();
    while (!end->outgoing.empty() && peer->unread < WINDOW) {
        Bytes& message = end->outgoing.front();
        std::size_t const size = std::min(message.size(), WINDOW - peer->unread);
        Bytes rest(message.begin() + static_cast<std::ptrdiff_t>(size), message.end());
        message.resize(size);
        end->queued -= size;
        if (size != 0) pushLocked(peer, *end->host, std::move(message));
        if (rest.empty())
            end->outgoing.pop_front();
        else
            message = std::move(rest);
    }
    if (!end->outgoing.empty()) return;
    if (end->endSending && !std::exchange(end->endSent, true)) pushLocked(peer, *end->host, {});
    if (waiting)
        clock.later(end->host->loop, {}, [self = shared_from_this(), end] {
            std::shared_ptr<someip::Link_user> user;
            {
                std::lock_guard lock(self->mutex);
                if (!end->closed && end->outgoing.empty()) user = end->user.lock();
            }
            if (user) user->drained();
        });
}

void Core::pushLocked(std::shared_ptr<Fake_stream> const& to, Fake_host& from, Bytes bytes) {
    milliseconds const now = clock.now();
    to->lastDue = std::max(to->lastDue, now + delayLocked(from));
    to->unread += bytes.size();
    to->incoming.push_back({std::move(bytes), to->lastDue});
    readLaterLocked(to, to->lastDue - now);
}

void Core::readLaterLocked(std::shared_ptr<Fake_stream> const& end, milliseconds delay) {
    clock.later(end->host->loop, delay, [self = shared_from_this(), end] { self->read(end); });
}

void Core::read(std::shared_ptr<Fake_stream> const& end) {
    for (;;) {
        Bytes bytes;
        std::shared_ptr<someip::Link_user> user;
        {
            std::lock_guard lock(mutex);
            if (end->closed || end->failing || !end->started || !end->connected || end->paused ||
                end->endReceived || stalled.contains(end->local.ip) || clock.now() < end->notBefore ||
                isCutLocked(end->local.ip, end->remote.ip))
                return;
            std::size_t const most = faults.pieceBytes == 0 ? READ_BYTES : faults.pieceBytes;
            milliseconds const now = clock.now();
            auto& incoming = end->incoming;
            while (!incoming.empty() && incoming.front().due <= now && !incoming.front().bytes.empty() &&
                   bytes.size() < most) {
                Bytes& first = incoming.front().bytes;
                auto const cut =
                    first.begin() + static_cast<std::ptrdiff_t>(std::min(first.size(), most - bytes.size()));
                bytes.insert(bytes.end(), first.begin(), cut);
                first.erase(first.begin(), cut);
                if (first.empty()) incoming.pop_front();
            }
            if (bytes.empty()) {
                if (incoming.empty() || incoming.front().due > now) return;
                incoming.pop_front();
                end->endReceived = true;
            }
            end->unread -= bytes.size();
            if (auto const peer = end->peer.lock()) passOnLocked(peer);
            user = end->user.lock();
        }
        if (!user) continue;
        if (bytes.empty())
            user->peerEnded();
        else
            user->received(bytes.data(), bytes.size(), {});
    }
}

void Core::close(std::shared_ptr<Fake_stream> const& end) {
    std::lock_guard lock(mutex);
    if (std::exchange(end->closed, true)) return;
    std::erase(heldBack, end);
    bool const unread = end->unread != 0;
    end->incoming.clear();
    end->outgoing.clear();
    end->queued = 0;
    auto const peer = end->peer.lock();
    if (!peer || peer->closed || peer->failing) return;
    if (unread || end->failing)
        failLaterLocked(peer, std::errc::connection_reset);
    else if (!std::exchange(end->endSent, true))
        pushLocked(peer, *end->host, {});
}

void Core::hurry(std::shared_ptr<Fake_stream> const& end) {
    {
        std::lock_guard lock(mutex);
        auto const now = clock.now();
        if (end->connected) {
            auto const peer = end->peer.lock();
            if (peer && peer->unread != 0 && now < peer->notBefore)
                failLaterLocked(end, std::errc::timed_out);
            return;
        }
        if (now >= end->notBefore) return;
        end->notBefore = now;
    }
    connect(end);
}

void Core::fail(std::shared_ptr<Fake_stream> const& end, std::error_code const& reason) {
    std::shared_ptr<someip::Link_user> user;
    {
        std::lock_guard lock(mutex);
        if (end->closed) return;
        user = end->user.lock();
    }
    close(end);
    if (user) user->broken(reason);
}

void Core::failLaterLocked(std::shared_ptr<Fake_stream> const& end, std::errc reason, milliseconds delay) {
    if (std::exchange(end->failing, true)) return;
    clock.later(end->host->loop, delay, [self = shared_from_this(), end, reason] {
        self->fail(end, {static_cast<int>(reason), std::system_category()});
    });
}

void Core::disconnect(std::function<bool(Fake_stream const&)> const& which) {
    Streams open;
    std::lock_guard lock(mutex);
    open = openStreamsLocked();
    for (auto const& end : open)
        if (which(*end)) failLaterLocked(end, std::errc::connection_reset);
}

}  // namespace eb::com::runtime::testing
