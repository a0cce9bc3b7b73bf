#pragma once

#include <map>
#include <set>
#include <utility>

#include "platform/com/discovery/Sd_directory_test.h"
#include "platform/com/testing/Fake_peer.h"

namespace eb::com::runtime::testing {

/// Processes at 127.0.0.1, and a stranger at 127.0.0.2 that minds session ids and reboot flags as a stack of
/// another make does.
class Sd_voice_test : public Sd_directory_test, public ::testing::WithParamInterface<char const*> {
protected:
    using Type = Sd_entry::Type;
    using Instance = std::pair<std::uint16_t, std::uint16_t>;
    static constexpr Address VOICE{0x7F000001, 30490};
    static constexpr Address STRANGER{0x7F000002, 30490};
    static constexpr Instance A1{0x1001, 1}, A2{0x1001, 2}, B1{0x1002, 1};

    static Deployment shared() {
        return deployment(R"({"mode": ")" + std::string(GetParam()) + R"(", "peers": ["127.0.0.2"]})");
    }
    std::unique_ptr<Process> process(std::size_t sendQueueBytes = Limits{}.sendQueueBytes) {
        auto process = std::make_unique<Process>(m_clock, m_network, shared(), sendQueueBytes);
        m_clock.settle();  // it speaks, or has joined
        return process;
    }
    /// Each with an offer of its own. The first one speaks.
    std::vector<std::unique_ptr<Process>> threeThatOffer() {
        std::vector<std::unique_ptr<Process>> processes;
        for (std::size_t index = 0; index < 3; ++index) {
            processes.push_back(process());
            processes[index]->offer(index);
        }
        return processes;
    }
    static std::string role(std::unique_ptr<Process> const& process) { return process->report().sd_role; }

    /// What the stranger heard since the last call, in the order in which it came. All of it is from the one
    /// voice, and its session ids follow each other, apart from reboots, which are counted.
    std::vector<Sd_entry> heard() {
        std::vector<Sd_entry> entries;
        take(*m_socket, m_unicast, entries);
        take(*m_group, m_multicast, entries);
        return entries;
    }
    std::vector<Sd_entry> heard(Type type) {
        auto entries = heard();
        std::erase_if(entries, [type](Sd_entry const& entry) { return entry.type != type; });
        return entries;
    }
    /// By unicast, as all of this test's peers are named in the manifest.
    unsigned reboots() {
        heard();
        return m_unicast.reboots;
    }
    std::set<Instance> standing() {
        heard();
        return m_unicast.standing;
    }
    /// Messages after which an instance that stood at the last `mark` didn't stand.
    unsigned gaps(Instance const& instance) {
        heard();
        return m_gaps[instance];
    }
    void mark() {
        heard();
        m_marked = m_unicast.standing;
        m_gaps.clear();
    }

    static Sd_entry entry(Type type, std::uint16_t service = 0x1001, std::uint16_t instance = 1) {
        Sd_entry entry;
        entry.type = type;
        entry.service = service;
        entry.instance = instance;
        entry.major = 2;
        entry.ttl = 5;
        if (type == Type::offer) entry.minor = 0;
        if (entry.isEventgroupEntry()) entry.eventgroup = 7;
        if (type == Type::offer || type == Type::subscribe)
            (service == 0x1002 ? entry.udp : entry.tcp) = Address{0x7F000002, 30600};
        return entry;
    }
    /// What a datagram holds; the test fails if it isn't one message.
    template <class Datagram>
    static Sd_message messageOf(Datagram const& datagram) {
        someip::Frame_reader reader(datagram.bytes.size());
        reader.feed(datagram.bytes.data(), datagram.bytes.size());
        someip::Frame frame;
        std::string reason;
        EXPECT_EQ(reader.next(frame), someip::Frame_reader::Found::frame);
        auto const message = decode(frame, reason);
        EXPECT_TRUE(message) << reason;
        return message.value_or(Sd_message{});
    }
    void say(std::vector<Sd_entry> entries) {
        Sd_message message;
        message.session = ++m_session;
        message.reboot = true;
        message.entries = std::move(entries);
        m_socket->send(encode(message), VOICE);
        pass(std::chrono::milliseconds(1));
    }

    Fake_peer m_peer{m_clock, m_network, STRANGER.ip};
    std::shared_ptr<Fake_channel> m_socket = m_peer.bind(STRANGER);
    std::shared_ptr<Fake_channel> m_group = m_peer.join(Discovery{}.group);
    std::uint16_t m_session = 0;

private:
    struct Ear {
        std::uint16_t last = 0;
        unsigned reboots = 0;
        std::set<Instance> standing;
    };
    void take(Fake_channel& channel, Ear& ear, std::vector<Sd_entry>& entries) {
        for (auto const& datagram : channel.take()) {
            if (datagram.from == STRANGER) continue;
            EXPECT_EQ(datagram.from.text(), VOICE.text());
            Sd_message const message = messageOf(datagram);
            EXPECT_TRUE(message.reboot);
            if (message.session <= ear.last) {
                EXPECT_EQ(message.session, 1);
                ++ear.reboots;
                ear.standing.clear();
            } else {
                EXPECT_EQ(message.session, ear.last + 1);
            }
            ear.last = message.session;
            for (Sd_entry const& entry : message.entries) {
                entries.push_back(entry);
                if (entry.type != Type::offer) continue;
                if (entry.ttl == 0)
                    ear.standing.erase({entry.service, entry.instance});
                else
                    ear.standing.insert({entry.service, entry.instance});
            }
            if (&ear == &m_unicast)
                for (auto const& instance : m_marked)
                    if (!ear.standing.contains(instance)) ++m_gaps[instance];
        }
    }

    Ear m_unicast;
    Ear m_multicast;
    std::set<Instance> m_marked;
    std::map<Instance, unsigned> m_gaps;
};

}  // namespace eb::com::runtime::testing
