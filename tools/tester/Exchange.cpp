#include "tools/tester/Exchange.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "binding/adapter/Platform_adapter.h"
#include "tools/tester/Text.h"

namespace tester {

namespace {

using eb::com::runtime::Call_outcome;
using eb::com::runtime::Call_result;
using eb::com::runtime::Client_port;
using eb::com::runtime::Serialized_payload;
using Clock = std::chrono::steady_clock;

constexpr milliseconds TICK{250};

/// Where the runtime's thread leaves the answer for the waiting one. Shared, as an answer may come when
/// nobody waits any longer.
struct Mailbox {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::optional<Call_result> result;  // guarded by mutex

    void put(Call_result const& answer) {
        std::lock_guard const lock(mutex);
        result = answer;
        changed.notify_all();
    }

    /// The answer, or nothing after `limit` or a request for stop.
    std::optional<Call_result> wait(milliseconds limit, std::stop_token const& stop,
                                    std::function<void(milliseconds)> const& tick) {
        auto const start = Clock::now();
        auto const deadline = start + limit;
        std::unique_lock lock(mutex);
        auto const arrived = [this] { return result.has_value(); };
        while (!stop.stop_requested()) {
            auto const next = std::min(deadline, Clock::now() + TICK);
            if (changed.wait_until(lock, stop, next, arrived)) return result;
            if (Clock::now() >= deadline) break;
            if (tick) tick(std::chrono::duration_cast<milliseconds>(Clock::now() - start));
        }
        return {};
    }
};

/// A request's argument is a map of strings; an empty one is its length field alone.
Serialized_payload emptyMap() {
    return Serialized_payload(std::make_shared<std::vector<unsigned char> const>(4, std::uint8_t{0}));
}

Outcome outcomeOf(Call_outcome outcome) {
    switch (outcome) {
        case Call_outcome::answered:
            return Outcome::ok;
        case Call_outcome::not_available:
            return Outcome::notAvailable;
        case Call_outcome::transport:
            return Outcome::transport;
        case Call_outcome::cancelled:
            break;
    }
    return Outcome::cancelled;
}

void attempt(Exchange& exchange, Client_port& port, unsigned short method,
             eb::com::runtime::Serialized_payload const& request, milliseconds timeout,
             std::stop_token const& stop, std::function<void(milliseconds)> const& tick) {
    auto const mailbox = std::make_shared<Mailbox>();
    auto const start = Clock::now();
    auto sent = ac::com::cpp_binding::adapter::call(
        port, method, request, [mailbox](Call_result const& result) { mailbox->put(result); });
    auto const result = mailbox->wait(timeout, stop, tick);
    exchange.elapsedMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    if (!result) {
        ac::com::cpp_binding::adapter::cancel(std::move(sent));
        exchange.outcome = stop.stop_requested() ? Outcome::interrupted : Outcome::timeOut;
        exchange.failures.push_back(stop.stop_requested()
                                        ? "interrupted"
                                        : "no answer within " + std::to_string(timeout.count()) + " ms");
        return;
    }
    exchange.outcome = outcomeOf(result->outcome);
    if (exchange.outcome == Outcome::ok) {
        exchange.returnCode = result->return_code;
        exchange.payload = result->payload.bytes();
        return;
    }
    exchange.failures.push_back(result->detail.empty() ? name(exchange.outcome) : result->detail);
}

}  // namespace

char const* name(Outcome outcome) {
    switch (outcome) {
        case Outcome::ok:
            return "ok";
        case Outcome::serviceError:
            return "service_error";
        case Outcome::returnCode:
            return "return_code";
        case Outcome::undecodable:
            return "undecodable";
        case Outcome::timeOut:
            return "time_out";
        case Outcome::cancelled:
            return "cancelled";
        case Outcome::transport:
            return "transport";
        case Outcome::notAvailable:
            return "not_available";
        case Outcome::notFound:
            return "not_found";
        case Outcome::interrupted:
            break;
    }
    return "interrupted";
}

void pause(milliseconds length, std::stop_token const& stop) {
    Mailbox().wait(length, stop, {});
}

Exchange callMethod(Client_port& port, unsigned short method, Patience const& patience,
                    std::stop_token const& stop, Waiting const& waiting,
                    std::optional<std::vector<unsigned char>> const& request) {
    auto const payload = request ? eb::com::runtime::Serialized_payload(
                                       std::make_shared<std::vector<unsigned char> const>(*request))
                                 : emptyMap();
    Exchange exchange;
    exchange.endpoint = port.endpoint();
    while (true) {
        unsigned const number = ++exchange.attempts;
        attempt(exchange, port, method, payload, patience.timeout, stop, [&](milliseconds soFar) {
            if (waiting) waiting(soFar, number);
        });
        if (number >= patience.attempts || !isWorthRepeating(exchange.outcome)) return exchange;
        pause(patience.retryPause, stop);
        if (stop.stop_requested()) {
            exchange.outcome = Outcome::interrupted;
            return exchange;
        }
    }
}

}  // namespace tester
