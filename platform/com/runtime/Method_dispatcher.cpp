#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include <ac/com/Exceptions.h>

#include "platform/com/runtime/Call_queue.h"
#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Pport_core.h"
#include "platform/com/someip/Frame.h"

namespace ac::com::cpp_binding::skeleton {
namespace {

namespace someip = eb::com::runtime::someip;
using eb::com::runtime::Call_queue;
using eb::com::runtime::Call_source;
using eb::com::runtime::Serialized_payload;
using eb::com::runtime::Session;
using eb::com::runtime::Waiting_call;

/// More than a pool has threads, so that none of them waits for a dispatcher to post.
constexpr std::size_t TURNS = 8;

Method_call_id nextCallId() {
    static std::atomic<Method_call_id> last{0};
    return ++last;
}

void answer(Reply_function const& reply, std::uint8_t code) {
    if (reply) reply(code, {});
}

}  // namespace

/// What calls on their way share with the dispatcher. Calls wait here, and the processor gets a turn for
/// each, at most TURNS at a time: a call takes its turn's place when the turn begins. So a call that is
/// dropped is gone at once, and no service's calls stand in the pool's queue before those of another.
///
///     idle --start--> running --stop--> idle     (calls that wait at stop are refused)
struct Method_dispatcher::Core : eb::com::runtime::Call_taker, std::enable_shared_from_this<Core> {
    explicit Core(std::unique_ptr<detail::Method_processor> newProcessor)
        : processor(std::move(newProcessor)) {}

    void take(unsigned short method, Reply_function reply, Serialized_payload const& payload,
              std::shared_ptr<Session> session) override {
        std::list<Waiting_call> dropped;  // before the lock: it is destroyed without it
        std::lock_guard lock(mutex);
        if (!running) return answer(reply, someip::E_NOT_READY);
        auto const handler = handlers.find(method);
        if (handler == handlers.end()) return answer(reply, someip::E_UNKNOWN_METHOD);
        waiting.push({&handler->second, std::move(reply), payload, std::move(session)});
        if (!postTurn()) dropped = waiting.takeAll();
    }

    void forget(Call_source const& source) override {
        std::list<Waiting_call> dropped;
        std::lock_guard lock(mutex);
        dropped = waiting.takeAllOf(source);
    }

    /// False if the processor takes no calls. With the mutex held, so that stop waits for every turn that was
    /// posted before it.
    bool postTurn() {
        if (postedTurns >= waiting.size() || postedTurns + runningTurns >= TURNS) return true;
        auto turn = std::make_shared<std::monostate>();
        std::weak_ptr<std::monostate> const posted = turn;
        processor->post([self = shared_from_this(), turn = std::move(turn)] { self->runTurn(); });
        if (posted.expired()) return false;
        ++postedTurns;
        return true;
    }

    void runTurn() {
        std::optional<Waiting_call> call;
        {
            std::lock_guard lock(mutex);
            --postedTurns;
            call = waiting.pop();
            if (!call) return;
            ++runningTurns;
        }
        handle(*call);
        call.reset();
        std::lock_guard lock(mutex);
        --runningTurns;
        if (processor) postTurn();
    }

    static void handle(Waiting_call const& call) {
        try {
            call.session->begin();
            (*call.handler)(nextCallId(), call.reply, call.payload);
        } catch (std::exception const& exception) {
            eb::com::runtime::log(ara::log::LogLevel::kError,
                                  std::string("exception out of a method's handler: ") + exception.what());
        } catch (...) {
            eb::com::runtime::log(ara::log::LogLevel::kError, "unknown exception out of a method's handler");
        }
    }

    std::mutex mutex;
    bool running = false;                                    // guarded by mutex
    Call_queue waiting;                                      // guarded by mutex
    std::size_t postedTurns = 0;                             // guarded by mutex; not yet begun
    std::size_t runningTurns = 0;                            // guarded by mutex
    std::map<unsigned short, Method_call_handler> handlers;  // grows before the first start only
    std::unique_ptr<detail::Method_processor> processor;     // lives as long as the dispatcher
};

Method_dispatcher::Method_dispatcher(Pport& port, std::unique_ptr<detail::Method_processor> processor)
    : m_port(port), m_core(std::make_shared<Core>(std::move(processor))) {
    m_port.m_core->connect(m_core);
}

Method_dispatcher::~Method_dispatcher() {
    stop();
    m_port.m_core->connect(nullptr);
    // A call that is just being refused may be the core's last owner, on a thread of the processor, which
    // must not end there.
    std::unique_ptr<detail::Method_processor> processor;
    std::lock_guard lock(m_core->mutex);
    processor.swap(m_core->processor);
}

void Method_dispatcher::start() {
    std::lock_guard lock(m_core->mutex);
    m_core->running = true;
}

void Method_dispatcher::stop() {
    std::list<Waiting_call> refused;
    {
        std::lock_guard lock(m_core->mutex);
        m_core->running = false;
        refused = m_core->waiting.takeAll();
    }
    while (!refused.empty()) {
        answer(refused.front().reply, someip::E_NOT_READY);
        refused.pop_front();
    }
    m_core->processor->wait();
}

void Method_dispatcher::add_method(unsigned short method_id, Method_call_handler handler) {
    std::lock_guard lock(m_core->mutex);
    std::string const name = m_port.service_id().value + ", method " + std::to_string(method_id);
    if (m_core->running) throw Invalid_argument_exception(name + ": registered after start");
    if (!m_core->handlers.emplace(method_id, std::move(handler)).second)
        throw Invalid_argument_exception(name + ": registered twice");
}

}  // namespace ac::com::cpp_binding::skeleton
