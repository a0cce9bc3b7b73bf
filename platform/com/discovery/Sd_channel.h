#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Sd_member.h"
#include "platform/com/discovery/Sd_voice.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime {

/// Discovery's way to all other processes. Collects entries for everybody, for those that were heard, and for
/// one of them, and hands them to the voice of this process's address:
///
///     .--> port is free -----> speaking
///     |                            ^ port is free
///     '--> port is taken --> joining --welcome--> member
///                                ^                  |
///                                '--- speaker gone -'
///
/// What is said while joining is dropped; the user says all of it again afterwards. A process that speaks
/// after another one waits until the fellows that it knew have done so, for COLLECT at most, so that
/// the first message names all that the address offers. Fellows that aren't back by then are gone.
///
/// Owned by the directory. io thread.
class Sd_channel : private Sd_member::User {
public:
    static constexpr std::chrono::milliseconds COLLECT{500};
    /// No process has welcomed this one for so long: the log says why.
    static constexpr std::chrono::milliseconds JOIN{2000};
    /// A connection on which no welcome has come for so long is made anew; after JOIN that takes JOIN.
    static constexpr std::chrono::milliseconds WELCOME{250};

    class User {
    public:
        virtual ~User() = default;
        /// A message came. `heard` is known, first or rebooted.
        virtual void heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
                           bool byMulticast) = 0;
        /// Another process of this address has ended.
        virtual void left(Address const& fellow) = 0;
        /// To say again what this process offers and asks for.
        virtual void sayAll() = 0;
        /// Whose offers and subscriptions hold now.
        virtual std::set<Address> partners() const = 0;
    };
    using Counts = Sd_voice::Counts;

    Sd_channel(Deployment const& deployment, someip::Network& network, Clock& clock, User& user);
    ~Sd_channel() override;
    Sd_channel(Sd_channel const&) = delete;
    Sd_channel& operator=(Sd_channel const&) = delete;

    /// Throws Invalid_argument_exception if no port can be bound at the address.
    void open();
    /// Sends what waits, and frees the sockets.
    void close();

    // All leave with the next flush, together with what else waits for the same receivers.
    void tellEverybody(Sd_entry const& entry) { add(m_toEverybody, entry); }
    /// Whoever was heard; where there is a group, everybody.
    void tellPeers(Sd_entry const& entry) { add(m_toPeers, entry); }
    void tell(Address const& peer, Sd_entry const& entry) { add(m_toPeer[peer], entry); }
    void flush();

    /// Where strangers find all processes of this address.
    Address local() const noexcept;
    /// What fellows know this process by.
    Address const& identity() const noexcept { return m_self; }
    /// For people.
    std::string role() const;
    /// Where `tellEverybody` sends to, for people.
    std::vector<std::string> targets() const;
    /// Strangers and fellows.
    std::vector<Sd_peers::Known> known() const;
    Counts const& counts() const noexcept { return m_counts; }

private:
    static void add(std::vector<Sd_entry>& waiting, Sd_entry const& entry);
    void free();
    void bindIdentity();
    void checkGroup();
    void join();
    bool speak();
    void retry(std::chrono::milliseconds pause);
    void retrySoon();
    void complain();
    void miss();
    void settleMissing();

    void heard(Address const& peer, Sd_peers::Heard heard, Sd_message const& message,
               bool byMulticast) override;
    void joined(Address const& fellow, bool justNow) override;
    void ready(Address const& fellow) override;
    void left(Address const& fellow) override;
    std::set<Address> partners() const override { return m_user.partners(); }
    void welcomed() override;
    void broken() override;

    Deployment const& m_deployment;
    someip::Network& m_network;
    Clock& m_clock;
    User& m_user;
    Address m_self;
    std::shared_ptr<someip::Link> m_name;  // keeps m_self
    Counts m_counts;
    std::shared_ptr<Sd_voice> m_voice;
    std::vector<Sd_entry> m_toEverybody;
    std::vector<Sd_entry> m_toPeers;
    std::map<Address, std::vector<Sd_entry>> m_toPeer;
    std::map<Address, Sd_peers::Time> m_fellows;  // when they were heard
    std::optional<Address> m_speaker;             // of a member
    std::set<Address> m_missing;                  // fellows, since their speaker ended
    std::vector<Sd_peers::Known> m_strangers;     // as the former voice knew them
    Sd_peers::Time m_since{0};                    // when joining began, or ended
    bool m_complained = false;
    bool m_closed = false;
    Clock::Timer m_retry;
    Clock::Timer m_collect;
};

}  // namespace eb::com::runtime
