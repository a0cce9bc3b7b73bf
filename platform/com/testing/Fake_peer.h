#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/com/testing/Fake_network.h"

namespace eb::com::runtime::testing {

/// One link of a Fake_peer, and all that was heard on it. Any thread but the io threads.
class Fake_channel : public someip::Link_user {
public:
    struct Message {
        std::vector<std::uint8_t> bytes;
        Address from;
    };

    Fake_channel(std::shared_ptr<Loop> loop, std::shared_ptr<someip::Link> link)
        : m_loop(std::move(loop)), m_link(std::move(link)) {}

    /// Does something with the link on its thread.
    void with(std::function<void(someip::Link&)> const& act);
    void send(std::vector<std::uint8_t> bytes, Address const& to = {});
    void close();
    void closeHere() { m_link->close(); }  ///< on the io thread
    Address local();

    std::size_t count() const;           ///< of what was received: datagrams, or pieces of the stream
    std::vector<Message> take();         ///< it, in the order in which it came
    std::vector<std::uint8_t> stream();  ///< the same in one piece
    bool isConnected() const;
    bool hasEnded() const;  ///< by the peer
    std::optional<std::errc> error() const;
    int drains() const;

    void connected() override;
    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override;
    void peerEnded() override;
    void broken(std::error_code const& reason) override;
    void drained() override;

private:
    std::shared_ptr<Loop> const m_loop;
    std::shared_ptr<someip::Link> const m_link;
    mutable std::mutex m_mutex;
    // guarded by m_mutex:
    std::vector<Message> m_received;
    bool m_connected = false;
    bool m_ended = false;
    std::optional<std::errc> m_error;
    int m_drains = 0;
};

/// A host of the fake network made of nothing but links, so that it can send what no runtime would.
class Fake_peer {
public:
    Fake_peer(Fake_clock& clock, Fake_network& network, std::uint32_t ip,
              std::size_t sendQueueBytes = Limits{}.sendQueueBytes);
    /// Closes all links.
    ~Fake_peer();
    Fake_peer(Fake_peer const&) = delete;
    Fake_peer& operator=(Fake_peer const&) = delete;

    std::shared_ptr<Fake_channel> bind(Address const& local);
    std::shared_ptr<Fake_channel> join(Address const& group);
    std::shared_ptr<Fake_channel> connect(Endpoint const& remote);
    /// Takes streams until `shut`.
    void listen(Address const& local);
    void shut();
    /// The streams that came in, in their order.
    std::vector<std::shared_ptr<Fake_channel>> accepted();

private:
    std::shared_ptr<Fake_channel> keep(std::shared_ptr<someip::Link> link);

    std::shared_ptr<Loop> const m_loop;
    std::unique_ptr<Clock> const m_clock;
    std::unique_ptr<someip::Network> const m_network;
    // io thread:
    std::unique_ptr<someip::Listener> m_listener;
    std::vector<std::shared_ptr<Fake_channel>> m_channels;
    std::vector<std::shared_ptr<Fake_channel>> m_accepted;
};

}  // namespace eb::com::runtime::testing
