// A gateway on services that a test commands, and testers at its sockets.
#pragma once

#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>

#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <asio/connect.hpp>
#include <asio/write.hpp>

#include "tools/tester/FakeServices.h"
#include "tools/tester/doip/Gateway.h"

namespace tester::doip {

/// The functional address.
inline constexpr std::uint16_t FUNCTIONAL = 0xE400;

/// "22 B0 47", blanks as one likes.
inline Message bytes(std::string const& digits) {
    Message all;
    for (std::size_t at = 0; at < digits.size();) {
        if (digits[at] == ' ') {
            ++at;
            continue;
        }
        all.push_back(static_cast<unsigned char>(std::stoi(digits.substr(at, 2), nullptr, 16)));
        at += 2;
    }
    return all;
}

inline Message operator+(Message left, Message const& right) {
    append(left, right);
    return left;
}

inline Message payloadOf(Message const& frame) {
    return {frame.begin() + HEADER_SIZE, frame.end()};
}

/// A tester's TCP connection. Waits long for what has to come: the machine may be busy.
class Client {
public:
    static constexpr std::uint16_t TESTER = 0x0E80;

    Client(Client&&) = default;
    Client& operator=(Client&&) = delete;  // would end the context in front of the socket
    Client(asio::ip::address const& address, std::uint16_t port) {
        m_socket.connect({address, port});
        m_socket.set_option(asio::ip::tcp::no_delay(true));
        timeval const patience{60, 0};
        setsockopt(m_socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }

    void send(Message const& message) {
        asio::error_code closed;  // tells itself as the end of what is received
        asio::write(m_socket, asio::buffer(message), closed);
    }
    void end() { m_socket.shutdown(asio::ip::tcp::socket::shutdown_send); }

    /// The next frame; empty if the gateway has closed the connection.
    Message receive() {
        Message all = receive(HEADER_SIZE);
        if (all.size() < HEADER_SIZE) return {};
        std::size_t const length = std::size_t{read16(all, 4)} << 16U | read16(all, 6);
        return std::move(all) + receive(length);
    }

    void request(Message const& uds, std::uint16_t target = 0x1001) {
        Message payload;
        append16(payload, TESTER);
        append16(payload, target);
        send(frame(VERSION_2012, Type::diagnostic, payload + uds));
    }

    /// The UDS message of the next frame that isn't an acknowledgement.
    std::string response() {
        Message next = receive();
        while (next.size() > HEADER_SIZE && read16(next, 2) == 0x8002) next = receive();
        if (next.size() < HEADER_SIZE + ADDRESSES_SIZE) return "closed";
        return hex(Bytes(next).subspan(HEADER_SIZE + ADDRESSES_SIZE));
    }

    std::string ask(std::string const& uds, std::uint16_t target = 0x1001) {
        request(bytes(uds), target);
        return response();
    }

    /// The response code of a routing activation, or -1.
    int activate(std::uint16_t tester = TESTER, unsigned char type = 0) {
        Message payload;
        append16(payload, tester);
        payload.push_back(type);
        append32(payload, 0);
        send(frame(VERSION_2012, Type::activation, payload));
        Message const answer = receive();
        return answer.size() > 12 ? answer[12] : -1;
    }

private:
    Message receive(std::size_t size) {
        if (size == 0) return {};  // would wait for a byte all the same
        Message all(size);
        auto const received = ::recv(m_socket.native_handle(), all.data(), size, MSG_WAITALL);
        all.resize(received < 0 ? 0 : std::size_t(received));
        return all;
    }

    std::unique_ptr<asio::io_context> m_context = std::make_unique<asio::io_context>();
    asio::ip::tcp::socket m_socket{*m_context};
};

class DoipTest : public testing::Test {
protected:
    DoipTest() {
        for (Catalogue const* catalogue : {&dataIdentifiers(), &routines(), &troubleCodes()}) {
            for (auto const& target : *catalogue) {
                auto const made = std::make_shared<FakePort>();
                ports[target.service + FakeServices::key(target.instance)] = made;
                if (target.kind == Target::Kind::troubleCode)
                    made->onSubscribe = [this, &target](auto sink) { monitors[target.number] = sink; };
            }
        }
        char const* const own = std::getenv("ARA_COM_ADDRESS");
        settings.address = asio::ip::make_address(own ? own : "127.0.0.1");
        settings.port = 0;
        settings.transport.spacing = milliseconds(0);
        settings.transport.initialInactivity = milliseconds(60'000);
    }

    ~DoipTest() override { stop.request_stop(); }

    FakePort& port(Target const& target) {
        return *ports.at(target.service + FakeServices::key(target.instance));
    }
    FakePort& identifier(char const* text) { return port(*dataIdentifiers().find(text)); }
    FakePort& routine(char const* text) { return port(*routines().find(text)); }

    void makeVehicle(Patience patience = {milliseconds(60'000), milliseconds(0), 1}) {
        vehicle.emplace(services, patience, milliseconds(0), stop.get_token(), [](Sighting const&) {});
    }
    void start() {
        if (!vehicle) makeVehicle();
        gateway.emplace(settings, *vehicle, [this](Happening const& happening) {
            std::lock_guard const lock(mutex);
            lines.push_back(happening.meaning);
        });
    }

    Client connect() { return {settings.address, gateway->port()}; }
    Client activeClient(std::uint16_t tester = Client::TESTER) {
        Client client = connect();
        EXPECT_EQ(client.activate(tester), 0x10);
        return client;
    }
    /// The same where limits are so short that a tester may itself be too slow on a busy machine, and then
    /// tries again.
    Client insistentClient(std::uint16_t tester = Client::TESTER) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::optional<Client> client;
        int code = -1;
        while (code == -1 && std::chrono::steady_clock::now() < end) {
            client.emplace(connect());
            code = client->activate(tester);
        }
        EXPECT_EQ(code, 0x10);
        return std::move(*client);
    }
    /// The answer to a datagram; empty if none comes in front of the next one's.
    Message datagram(Message const& request) {
        asio::io_context context;
        asio::ip::udp::socket socket(context, {settings.address, 0});
        asio::ip::udp::endpoint const there(settings.address, gateway->port());
        socket.send_to(asio::buffer(request), there);
        socket.send_to(asio::buffer(frame(VERSION_2019, Type::status, {})), there);
        Message answer(2048);
        answer.resize(socket.receive(asio::buffer(answer)));
        return answer[0] == VERSION_2019 && read16(answer, 2) == 0x4002 ? Message() : answer;
    }

    /// Waits for a line for people; the machine may be busy.
    bool told(std::string const& text) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < end) {
            {
                std::lock_guard const lock(mutex);
                for (auto const& line : lines) {
                    if (line.find(text) != std::string::npos) return true;
                }
            }
            std::this_thread::yield();
        }
        return false;
    }

    FakeServices::Ports ports;
    std::map<std::uint32_t, std::shared_ptr<eb::com::runtime::Event_sink>> monitors;
    FakeServices services{ports};
    GatewaySettings settings;
    std::stop_source stop;
    std::mutex mutex;
    std::vector<std::string> lines;  // guarded by mutex
    std::optional<Vehicle> vehicle;
    std::optional<Gateway> gateway;
};

}  // namespace tester::doip
