#include <utility>

#include "platform/com/someip/Frame.h"
#include "platform/com/testing/Fake_network_core.h"

namespace eb::com::runtime::testing {

using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;
using Core = Fake_network::Core;

namespace {

constexpr std::size_t BUFFER = 256;     ///< datagrams that wait for a reader who pauses
constexpr milliseconds OVERTAKING{20};  ///< what a datagram held back waits

class Datagram_link : public someip::Link {
public:
    Datagram_link(std::shared_ptr<Core> core, std::shared_ptr<Fake_socket> socket)
        : m_core(std::move(core)), m_socket(std::move(socket)) {}
    ~Datagram_link() override { m_core->close(m_socket); }

    void start(std::weak_ptr<someip::Link_user> user) override {
        {
            std::lock_guard lock(m_core->mutex);
            m_socket->user = std::move(user);
            m_socket->started = true;
        }
        readSoon();
    }
    void send(Bytes bytes, Address const& to) override {
        m_core->send(*m_socket, std::move(bytes), m_socket->remote.port != 0 ? m_socket->remote : to);
    }
    bool idle() const override { return true; }
    void pause() override { setPaused(true); }
    void resume() override {
        setPaused(false);
        readSoon();
    }
    void endSending() override {}
    void close() override { m_core->close(m_socket); }
    Address local() const override { return m_socket->local; }
    Address remote() const override { return m_socket->remote; }

private:
    void setPaused(bool paused) {
        std::lock_guard lock(m_core->mutex);
        m_socket->paused = paused;
    }
    void readSoon() {
        m_core->clock.later(m_socket->host->loop, {},
                            [core = m_core, socket = m_socket] { core->read(socket); });
    }

    std::shared_ptr<Core> m_core;
    std::shared_ptr<Fake_socket> m_socket;
};

}  // namespace

std::shared_ptr<someip::Link> Core::datagrams(std::shared_ptr<Fake_host> host, Address local,
                                              Address remote) {
    auto const socket = std::make_shared<Fake_socket>();
    socket->host = std::move(host);
    socket->remote = remote;
    std::lock_guard lock(mutex);
    socket->local = local.port == 0 ? freeAddressLocked(local.ip) : local;
    if (!sockets.emplace(socket->local, socket).second)
        throw std::system_error(std::make_error_code(std::errc::address_in_use));
    return std::make_shared<Datagram_link>(shared_from_this(), socket);
}

std::shared_ptr<someip::Link> Core::group(std::shared_ptr<Fake_host> host, Address address) {
    auto const socket = std::make_shared<Fake_socket>();
    socket->host = std::move(host);
    socket->local = address;
    socket->member = true;
    std::lock_guard lock(mutex);
    groups.emplace(address, socket);
    return std::make_shared<Datagram_link>(shared_from_this(), socket);
}

void Core::send(Fake_socket& from, Bytes bytes, Address to) {
    std::lock_guard lock(mutex);
    if (from.closed) return;
    ++traffic.sent;
    if (bytes.size() > someip::MAX_DATAGRAM_BYTES) {
        ++traffic.lost;
        return;
    }
    auto const [first, last] = groups.equal_range(to);
    for (auto member = first; member != last; ++member) carryLocked(from, member->second, bytes);
    if (auto const found = sockets.find(to); found != sockets.end())
        carryLocked(from, found->second, bytes);
    else if (first == last)
        ++traffic.unheard;
}

void Core::carryLocked(Fake_socket& from, std::shared_ptr<Fake_socket> const& to, Bytes const& bytes) {
    Fake_host& host = *from.host;
    bool const dropped = happensLocked(host, faults.drop);
    int const copies = happensLocked(host, faults.duplicate) ? 2 : 1;
    if (dropped || isCutLocked(from.local.ip, to->member ? to->host->ip : to->local.ip)) {
        ++traffic.lost;
        return;
    }
    for (int copy = 0; copy < copies; ++copy) {
        milliseconds const delay =
            delayLocked(host) + (happensLocked(host, faults.reorder) ? OVERTAKING : milliseconds(0));
        clock.later(to->host->loop, delay,
                    [self = shared_from_this(), socket = std::weak_ptr(to), bytes, sender = from.local] {
                        self->arrived(socket, {bytes, sender});
                    });
    }
}

void Core::arrived(std::weak_ptr<Fake_socket> const& weak, Fake_datagram datagram) {
    auto const socket = weak.lock();
    if (!socket) return;
    {
        std::lock_guard lock(mutex);
        bool const stranger = socket->remote.port != 0 && socket->remote != datagram.from;
        if (socket->closed || stranger || socket->inbox.size() == BUFFER) {
            ++traffic.unheard;
            return;
        }
        socket->inbox.push_back(std::move(datagram));
    }
    read(socket);
}

void Core::read(std::shared_ptr<Fake_socket> const& socket) {
    for (;;) {
        Fake_datagram datagram;
        std::shared_ptr<someip::Link_user> user;
        {
            std::lock_guard lock(mutex);
            if (socket->closed || !socket->started || socket->paused || socket->inbox.empty()) return;
            datagram = std::move(socket->inbox.front());
            socket->inbox.pop_front();
            user = socket->user.lock();
            ++traffic.delivered;
        }
        if (user) user->received(datagram.bytes.data(), datagram.bytes.size(), datagram.from);
    }
}

void Core::close(std::shared_ptr<Fake_socket> const& socket) {
    std::lock_guard lock(mutex);
    if (std::exchange(socket->closed, true)) return;
    if (socket->member)
        std::erase_if(groups, [&](auto const& entry) { return entry.second == socket; });
    else
        sockets.erase(socket->local);
}

}  // namespace eb::com::runtime::testing
