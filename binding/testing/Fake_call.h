#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <eb/com/runtime/Client_port.h>

namespace binding_testing {

/// A call that a fake port was given: a test ends it, as often as it wants, from any thread.
class Fake_call : public eb::com::runtime::Method_call {
public:
    using Call_result = eb::com::runtime::Call_result;
    using Sent = eb::com::Future<std::shared_ptr<eb::com::runtime::Method_call>>;

    explicit Fake_call(eb::com::runtime::Client_port::Reply reply) : m_reply(std::move(reply)) {}

    void end(Call_result const& result) {
        if (result.outcome == eb::com::runtime::Call_outcome::answered) {
            m_reply(result.return_code, result.payload);
            return;
        }
        std::function<void(Call_result const&)> failed;
        {
            std::lock_guard const lock(m_mutex);
            m_ended = result;
            failed = m_failed;
        }
        if (failed) failed(result);
    }

    void cancel() override {}
    void on_failure(std::function<void(Call_result const&)> failed) override {
        std::optional<Call_result> ended;
        {
            std::lock_guard const lock(m_mutex);
            m_failed = failed;
            ended = m_ended;
        }
        if (ended) failed(*ended);
    }

    /// What Client_port::call gives for a call that is under way.
    static Sent sent(std::shared_ptr<eb::com::runtime::Method_call> call) {
        eb::com::Promise<std::shared_ptr<eb::com::runtime::Method_call>> promise;
        auto future = promise.get_future();
        promise.set_value(std::move(call));
        return future;
    }

private:
    eb::com::runtime::Client_port::Reply const m_reply;
    std::mutex m_mutex;
    std::function<void(Call_result const&)> m_failed;  // guarded by m_mutex
    std::optional<Call_result> m_ended;                // guarded by m_mutex; without an answer
};

}  // namespace binding_testing
