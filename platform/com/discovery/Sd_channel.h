#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_message.h"
#include "platform/com/discovery/Sd_peers.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Peer_line.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime {

/// The sockets of discovery: collects entries into messages, stamps and sends them, and takes messages apart
/// that came. In unicast mode "everybody" is every port of the own range and of the peers in the manifest,
/// in multicast mode the group and those peers; and in both whoever was heard from elsewhere.
///
/// Each process binds the first port of the range that is free; the operating system gives it back however
/// the process ends.
///
/// Owned by the directory. io thread.
class Sd_channel {
public:
    class User {
    public:
        virtual ~User() = default;
        /// A message came. `heard` is known, first or rebooted.
        virtual void heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
                           bool byMulticast) = 0;
        /// Whose offers and subscriptions hold now.
        virtual std::set<Address> partners() const = 0;
    };

    struct Counts {
        std::uint64_t sent = 0;
        std::uint64_t received = 0;
        std::uint64_t malformed = 0;  ///< messages, and entries whose options can't be used
    };

    Sd_channel(Deployment const& deployment, someip::Network& network, Clock& clock, User& user);
    ~Sd_channel();
    Sd_channel(Sd_channel const&) = delete;
    Sd_channel& operator=(Sd_channel const&) = delete;

    /// Throws Invalid_argument_exception if no port can be bound.
    void open();
    /// Sends what waits, and frees the sockets.
    void close();

    // All leave with the next flush, together with what else waits for the same receivers.
    void tellEverybody(Sd_entry const& entry) { add(m_toEverybody, entry); }
    /// Whoever was heard; where there is a group, everybody.
    void tellPeers(Sd_entry const& entry) { add(m_toPeers, entry); }
    void tell(Address const& peer, Sd_entry const& entry) { add(m_toPeer[peer], entry); }
    void flush();

    Address const& local() const noexcept { return m_local; }
    /// Where `tellEverybody` sends to, for people.
    std::vector<std::string> targets() const;
    Sd_peers const& peers() const noexcept { return m_peers; }
    Counts const& counts() const noexcept { return m_counts; }

private:
    class Ear;
    static void add(std::vector<Sd_entry>& waiting, Sd_entry const& entry);
    std::shared_ptr<someip::Link> bindFirstFree();
    void hear(std::uint8_t const* bytes, std::size_t size, Address const& from, bool byMulticast);
    void drop(Address const& from, char const* reason);
    std::vector<Address> everybody() const;
    void send(std::vector<Sd_entry> const& entries, std::vector<Address> const& targets);

    Deployment const& m_deployment;
    someip::Network& m_network;
    Clock& m_clock;
    Peer_line m_dropped{m_clock, ara::log::LogLevel::kDebug};
    User& m_user;
    Address m_local;
    Sd_peers m_peers;
    Counts m_counts;
    std::vector<Address> m_fixed;  // everybody of the manifest
    std::vector<Sd_entry> m_toEverybody;
    std::vector<Sd_entry> m_toPeers;
    std::map<Address, std::vector<Sd_entry>> m_toPeer;
    std::shared_ptr<someip::Link> m_link;
    std::shared_ptr<someip::Link> m_group;  // multicast mode
    std::shared_ptr<Ear> m_ear;
    std::shared_ptr<Ear> m_groupEar;
};

}  // namespace eb::com::runtime
