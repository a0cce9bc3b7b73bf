#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <ac/com/Exceptions.h>
#include <eb/com/runtime/Client_port.h>

#include "binding/testing/Fake_call.h"

namespace binding_testing {

using Bytes = std::vector<unsigned char>;

inline eb::com::runtime::Serialized_payload payloadOf(Bytes bytes) {
    return eb::com::runtime::Serialized_payload(std::make_shared<Bytes const>(std::move(bytes)));
}

/// A port that does what the test says: answers come when, as often and from which thread it wants.
class Fake_port : public eb::com::runtime::Client_port {
public:
    struct Call : Fake_call {
        using Fake_call::Fake_call;
        void cancel() override { cancelled = true; }

        void reply(unsigned char code, Bytes bytes = {}) {
            end({eb::com::runtime::Call_outcome::answered, code, payloadOf(std::move(bytes)), {}});
        }
        void fail(eb::com::runtime::Call_outcome outcome) { end({outcome, 0, {}, "said the test"}); }

        unsigned short method = 0;
        Bytes request;
        std::atomic<bool> cancelled{false};
    };

    Fake_call::Sent call(unsigned short method, eb::com::runtime::Serialized_payload request,
                         Reply reply) override {
        auto const call = std::make_shared<Call>(std::move(reply));
        call->method = method;
        call->request = request.bytes();
        if (onCall) {
            onCall(*call);
        }
        std::lock_guard const lock(m_mutex);
        m_calls.push_back(call);
        return Fake_call::sent(call);
    }

    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> subscribe(
        unsigned short event, std::weak_ptr<eb::com::runtime::Event_sink> sink) override {
        if (refuseSubscriptions) {
            throw ac::com::Infrastructure_exception("said the test");
        }
        EXPECT_EQ(event, 0);
        auto const subscription = std::make_shared<Subscription>();
        std::lock_guard const lock(m_mutex);
        m_sinks.emplace_back(subscription, std::move(sink));
        ++m_subscriptions;
        return subscription;
    }

    eb::com::runtime::Client::Service_state service_state() const override {
        using enum eb::com::runtime::Client::Service_state;
        return isLost ? unavailable : available;
    }

    std::string endpoint() const override {
        ++endpointsAsked;
        return "a test";
    }

    std::shared_ptr<Call> lastCall() const {
        std::lock_guard const lock(m_mutex);
        return m_calls.empty() ? nullptr : m_calls.back();
    }
    std::size_t calls() const {
        std::lock_guard const lock(m_mutex);
        return m_calls.size();
    }

    /// Brings a sample to whoever is subscribed, on this thread. One thread at a time, as the runtime's.
    void send(Bytes const& sample) const {
        for (auto const& sink : sinks()) {
            sink->event_updated(payloadOf(sample));
        }
    }
    void tell(eb::com::runtime::Event_state state) const {
        for (auto const& sink : sinks()) {
            sink->event_state_changed(state);
        }
    }
    /// Present ones; and all that ever were.
    std::size_t subscribers() const { return sinks().size(); }
    std::size_t subscriptions() const {
        std::lock_guard const lock(m_mutex);
        return m_subscriptions;
    }
    /// A sink that outlives its subscription, for a sample that comes late.
    std::shared_ptr<eb::com::runtime::Event_sink> sink() const { return sinks().at(0); }

    std::function<void(Call&)> onCall;  ///< runs inside `call`; set before the first call
    std::atomic<bool> refuseSubscriptions{false};
    std::atomic<bool> isLost{false};
    mutable std::atomic<int> endpointsAsked{0};

private:
    struct Subscription : eb::com::runtime::Service_finder::Subscription_handle {};

    std::vector<std::shared_ptr<eb::com::runtime::Event_sink>> sinks() const {
        std::vector<std::shared_ptr<eb::com::runtime::Event_sink>> present;
        std::lock_guard const lock(m_mutex);
        for (auto const& [subscription, sink] : m_sinks) {
            auto const target = subscription.expired() ? nullptr : sink.lock();
            if (target) {
                present.push_back(target);
            }
        }
        return present;
    }

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<Call>> m_calls;  // guarded by m_mutex
    std::vector<std::pair<std::weak_ptr<Subscription>, std::weak_ptr<eb::com::runtime::Event_sink>>>
        m_sinks;                      // guarded by m_mutex
    std::size_t m_subscriptions = 0;  // guarded by m_mutex
};

}  // namespace binding_testing
