#pragma once

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/com/discovery/Sd_relay.h"
#include "platform/com/discovery/Sd_voice.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime {

/// A process that another one at the same address speaks for, over a TCP connection.
///
///     connecting --connected--> joining --welcome--> welcomed --broken, or a bad message--> broken
///         '------ refused, broken -----------'------------------------------------------------^
///
/// A speaker that doesn't read is noticed when the connection's send queue is full. Owned by its channel,
/// which makes another one once this is broken. io thread.
class Sd_member : public Sd_voice, public someip::Link_user, public std::enable_shared_from_this<Sd_member> {
public:
    class User : public Sd_voice::User {
    public:
        virtual void welcomed() = 0;
        /// The connection is of no more use. The member may be dropped from inside.
        virtual void broken() = 0;
    };

    /// Throws std::system_error.
    Sd_member(someip::Network& network, Clock& clock, User& user, Address const& self, Address const& speaker,
              Counts& counts);
    ~Sd_member() override;
    void start();

    bool isSpeaker() const override { return false; }
    bool isReady() const override { return m_welcomed; }
    void say(std::vector<Sd_say> const& words) override;
    std::vector<Sd_peers::Known> strangers() const override;
    void close() override;

    // The connection's.
    void received(std::uint8_t const* bytes, std::size_t size, Address const& from) override;
    void peerEnded() override { end("ended"); }
    void broken(std::error_code const& reason) override { end(reason.message()); }
    void drained() override {}

private:
    void take(Sd_relay const& relay);
    void end(std::string const& reason);
    void know(Sd_peers::Known const& stranger);

    Clock& m_clock;
    User& m_user;
    Address const m_self;
    Address const m_speaker;
    Counts& m_counts;
    std::shared_ptr<someip::Link> const m_link;
    Sd_relay_reader m_reader;
    bool m_welcomed = false;
    bool m_ended = false;
    bool m_told = false;  // m_partners
    std::set<Address> m_partners;
    std::set<Address> m_fellows;
    std::map<Address, Sd_peers::Known> m_strangers;  // bounded as Sd_peers is
};

}  // namespace eb::com::runtime
