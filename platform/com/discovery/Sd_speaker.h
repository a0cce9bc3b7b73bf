#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_asked.h"
#include "platform/com/discovery/Sd_relay.h"
#include "platform/com/discovery/Sd_voice.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Peer_line.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime {

/// The process that has the discovery port of its address: it stamps and sends what the processes of the
/// address say, and gives them what arrives there. Members connect to the same port over TCP.
///
/// A subscription that arrives goes to the process that offers the instance, or to the speaker itself, so
/// that exactly one answers; the answer to one goes to who asked. What a member that ended had offered or
/// asked for is taken back. A stranger can't pretend to be a fellow.
///
/// Bounded: MEMBERS of them, each with as many offers and subscriptions as Sd_asked takes; a member that says
/// more, that isn't understood or doesn't read loses its connection. Owned by its channel. io thread.
class Sd_speaker : public Sd_voice {
public:
    static constexpr std::size_t MEMBERS = 256;
    static constexpr std::size_t UNKNOWN = 16;  ///< connections whose process hasn't joined yet

    /// `strangers` are those that were heard before somebody else ceased to speak. As long as not `allReady`,
    /// nothing leaves. Throws std::system_error with address_in_use if another process has the port.
    Sd_speaker(Deployment const& deployment, someip::Network& network, Clock& clock, User& user,
               Address const& self, std::vector<Sd_peers::Known> strangers, Counts& counts);
    ~Sd_speaker() override;
    Sd_speaker(Sd_speaker const&) = delete;
    Sd_speaker& operator=(Sd_speaker const&) = delete;

    bool isSpeaker() const override { return true; }
    bool isReady() const override { return true; }
    void say(std::vector<Sd_say> const& words) override;
    void allReady() override;
    std::vector<Sd_peers::Known> strangers() const override;
    void close() override;

private:
    class Ear;
    class Member;
    using Entries = std::vector<Sd_entry>;

    // The network's.
    void hear(std::uint8_t const* bytes, std::size_t size, Address const& from, bool byMulticast);
    void pass(Address const& peer, Sd_peers::Heard heard, Sd_message message, bool byMulticast);
    void drop(Address const& from, char const* reason);
    void flush();
    std::vector<Address> everybody() const;
    void send(Entries const& entries, std::vector<Address> const& targets);

    // The members'.
    void accept(std::shared_ptr<someip::Link> link);
    void take(Member& member, Sd_relay const& relay);
    void join(Member& member, Address const& identity);
    void leave(Member& member, std::string const& reason);
    /// False if there is no room for it.
    bool take(Address const& from, Sd_say say);
    void deliver(Address const& to, Address const& from, Entries const& entries);
    void tellMembers(Sd_relay const& relay, Address const& but);

    Deployment const& m_deployment;
    Clock& m_clock;
    User& m_user;
    Address const m_self;
    Address const m_local;
    Counts& m_counts;
    Peer_line m_dropped{m_clock, ara::log::LogLevel::kDebug};
    Peer_line m_refused{m_clock, ara::log::LogLevel::kDebug};
    bool m_silent = true;
    bool m_closed = false;
    Sd_peers m_peers;
    std::vector<Address> m_fixed;  // everybody of the manifest
    std::vector<Sd_peers::Known> m_earlier;
    Sd_asked m_asked;
    Entries m_toEverybody;
    Entries m_toPeers;
    std::map<Address, Entries> m_toPeer;
    std::shared_ptr<someip::Link> m_link;
    std::shared_ptr<someip::Link> m_group;  // multicast mode
    std::unique_ptr<someip::Listener> m_listener;
    std::shared_ptr<Ear> m_ear;
    std::shared_ptr<Ear> m_groupEar;
    std::map<Address, std::shared_ptr<Member>> m_members;  // by identity
    std::vector<std::shared_ptr<Member>> m_unknown;        // in the order in which they came
};

}  // namespace eb::com::runtime
