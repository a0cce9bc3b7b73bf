// Services that answer as a test tells them to, time-outs included.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <thread>
#include <vector>

#include "binding/testing/Fake_call.h"
#include "tools/tester/Services.h"

namespace tester {

/// Answers each call with the next line of its script, on a thread of its own as the runtime does, but before
/// the call returns: an answer is never late, however busy the machine and short the time-out. Without a line
/// left, and for a line that holds nothing, a call stays unanswered until it is cancelled.
class FakePort final : public eb::com::runtime::Client_port {
public:
    using Result = eb::com::runtime::Call_result;

    static Result answered(unsigned char returnCode, std::vector<unsigned char> payload = {}) {
        return {eb::com::runtime::Call_outcome::answered, returnCode, bytes(std::move(payload)), {}};
    }
    static Result failed(eb::com::runtime::Call_outcome outcome, std::string detail) {
        return {outcome, 0, {}, std::move(detail)};
    }
    static eb::com::runtime::Serialized_payload bytes(std::vector<unsigned char> content) {
        return eb::com::runtime::Serialized_payload(
            std::make_shared<std::vector<unsigned char> const>(std::move(content)));
    }

    binding_testing::Fake_call::Sent call(unsigned short method, eb::com::runtime::Serialized_payload request,
                                          Reply reply) override {
        methods.push_back(method);
        requests.push_back(request.bytes());
        std::optional<Result> next;
        if (!script.empty()) {
            next = script.front();
            script.pop_front();
        }
        if (onCall) onCall();
        auto const open = std::make_shared<Open>(*this, std::move(reply), !next);
        if (next) std::thread([&] { open->end(*next); }).join();
        return binding_testing::Fake_call::sent(open);
    }

    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> subscribe(
        unsigned short /*event*/, std::weak_ptr<eb::com::runtime::Event_sink> sink) override {
        if (onSubscribe) onSubscribe(sink.lock());
        return std::make_shared<eb::com::runtime::Service_finder::Subscription_handle>();
    }

    std::string endpoint() const override { return endpointText; }

    std::deque<std::optional<Result>> script;
    std::string endpointText = "tcp 127.0.0.1:1";
    std::function<void()> onCall;
    std::function<void(std::shared_ptr<eb::com::runtime::Event_sink>)> onSubscribe;
    std::vector<unsigned short> methods;               // of the calls that came
    std::vector<std::vector<unsigned char>> requests;  // of the calls that came
    unsigned cancelled = 0;

private:
    class Open final : public binding_testing::Fake_call {
    public:
        Open(FakePort& port, Reply reply, bool unanswered)
            : Fake_call(std::move(reply)), m_port(port), m_unanswered(unanswered) {}
        void cancel() override {
            ++m_port.cancelled;
            if (m_unanswered) end(failed(eb::com::runtime::Call_outcome::cancelled, "cancelled"));
        }

    private:
        FakePort& m_port;
        bool const m_unanswered;
    };
};

/// Reaches the ports that a test has put in, and no others.
class FakeServices final : public Services {
public:
    using Ports = std::map<std::string, std::shared_ptr<FakePort>>;

    explicit FakeServices(Ports const& ports) : m_ports(ports) {}

    Reached port(Wanted const& wanted) override {
        auto const found = m_ports.find(wanted.service + key(wanted.instance));
        if (found == m_ports.end())
            return {{}, "no instance " + wanted.instance + " of the service was found"};
        return {found->second, {}};
    }
    using Services::reach;
    Reached reach(Wanted const& wanted, milliseconds, std::stop_token const&) override {
        return port(wanted);
    }

    std::vector<std::string> rivals(Wanted const& wanted) override {
        auto const known = others.find(wanted.service);
        return known == others.end() ? std::vector<std::string>() : known->second;
    }

    /// Who else offers a service.
    static inline std::map<std::string, std::vector<std::string>> others;

    /// What stands behind the service's name in the key of a port: nothing for the usual instance.
    static std::string key(std::string const& instance) { return instance == INSTANCE ? "" : ' ' + instance; }

private:
    Ports const& m_ports;  // of the test
};

}  // namespace tester
