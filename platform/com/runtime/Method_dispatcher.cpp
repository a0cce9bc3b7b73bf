#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include <ac/com/Exceptions.h>

#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Pport_core.h"
#include "platform/com/someip/Frame.h"

namespace ac::com::cpp_binding::skeleton {
namespace {

namespace someip = eb::com::runtime::someip;
using eb::com::runtime::Serialized_payload;

Method_call_id nextCallId() {
    static std::atomic<Method_call_id> last{0};
    return ++last;
}

void answer(Reply_function const& reply, std::uint8_t code) {
    if (reply) reply(code, {});
}

}  // namespace

/// What calls on their way share with the dispatcher.
///
///     idle --start--> running --stop--> idle     (calls that wait in the processor at stop are refused)
struct Method_dispatcher::Core : eb::com::runtime::Call_taker, std::enable_shared_from_this<Core> {
    explicit Core(std::unique_ptr<detail::Method_processor> newProcessor)
        : processor(std::move(newProcessor)) {}

    void take(unsigned short method, Reply_function const& reply, Serialized_payload const& payload,
              std::shared_ptr<void> const& keep) override {
        std::lock_guard lock(mutex);
        if (!running) return answer(reply, someip::E_NOT_READY);
        auto const handler = handlers.find(method);
        if (handler == handlers.end()) return answer(reply, someip::E_UNKNOWN_METHOD);
        // Under the lock, so that stop waits for every call that was taken before it.
        processor->post([self = shared_from_this(), &function = handler->second, reply, payload, keep] {
            self->handle(function, reply, payload);
        });
    }

    void handle(Method_call_handler const& function, Reply_function const& reply,
                Serialized_payload const& payload) {
        {
            std::lock_guard lock(mutex);
            if (!running) return answer(reply, someip::E_NOT_READY);
        }
        try {
            function(nextCallId(), reply, payload);
        } catch (std::exception const& exception) {
            eb::com::runtime::log(ara::log::LogLevel::kError,
                                  std::string("exception out of a method's handler: ") + exception.what());
        } catch (...) {
            eb::com::runtime::log(ara::log::LogLevel::kError, "unknown exception out of a method's handler");
        }
    }

    std::mutex mutex;
    bool running = false;                                    // guarded by mutex
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
    {
        std::lock_guard lock(m_core->mutex);
        m_core->running = false;
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
