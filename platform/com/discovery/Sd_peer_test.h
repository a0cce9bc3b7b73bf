#pragma once

#include <algorithm>

#include "platform/com/discovery/Sd_directory_test.h"
#include "platform/com/testing/Fake_peer.h"

namespace eb::com::runtime::testing {

/// A peer made of messages alone, at 127.0.0.1:30495, and the process that it speaks with.
class Sd_peer_test : public Sd_directory_test {
protected:
    using Type = Sd_entry::Type;
    static constexpr Address PEER{0x7F000001, 30495};

    static Sd_entry entry(Type type, std::uint16_t service = 0x1001) {
        Sd_entry entry;
        entry.type = type;
        entry.service = service;
        entry.instance = 1;
        entry.major = 2;
        entry.ttl = 5;
        if (type == Type::offer) entry.minor = 0;
        if (entry.isEventgroupEntry()) entry.eventgroup = 7;
        if (type == Type::offer || type == Type::subscribe) entry.tcp = Address{0x7F000001, 30600};
        return entry;
    }
    void say(std::vector<Sd_entry> entries, std::uint16_t session = 0) {
        Sd_message message;
        message.session = session == 0 ? ++m_session : m_session = session;
        message.reboot = true;
        message.entries = std::move(entries);
        sayBytes(encode(message));
    }
    void sayBytes(std::vector<std::uint8_t> bytes) {
        m_socket->send(std::move(bytes), {0x7F000001, 30490});
        pass(std::chrono::milliseconds(1));
    }
    /// The entries that came back since the last call.
    std::vector<Sd_entry> heard() {
        std::vector<Sd_entry> entries;
        for (auto const& datagram : m_socket->take()) {
            someip::Frame_reader reader(datagram.bytes.size());
            reader.feed(datagram.bytes.data(), datagram.bytes.size());
            someip::Frame frame;
            std::string reason;
            EXPECT_EQ(reader.next(frame), someip::Frame_reader::Found::frame);
            auto const message = decode(frame, reason);
            EXPECT_TRUE(message) << reason;
            if (message) entries.insert(entries.end(), message->entries.begin(), message->entries.end());
        }
        return entries;
    }
    /// How many of them answer a subscription.
    std::size_t repliesHeard() {
        auto const entries = heard();
        return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [](auto const& entry) {
            return entry.type == Type::subscribeAck;
        }));
    }
    Sd_entry answer(std::uint32_t ttl) {
        Sd_entry answer = entry(Type::subscribeAck);
        answer.ttl = ttl;
        return answer;
    }

    Process sut{m_clock, m_network};
    Fake_peer m_peer{m_clock, m_network, 0x7F000001};
    std::shared_ptr<Fake_channel> m_socket = m_peer.bind(PEER);
    std::uint16_t m_session = 0;
};

}  // namespace eb::com::runtime::testing
