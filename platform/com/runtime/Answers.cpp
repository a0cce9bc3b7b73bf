#include "platform/com/runtime/Answers.h"

#include <exception>
#include <string>
#include <utility>

#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Loop.h"

namespace eb::com::runtime {

Answers::Answers()
    : m_state(std::make_shared<State>()), m_thread([state = m_state] {
          setUpRuntimeThread("ara_com_answer");
          work(*state);
      }) {}

Answers::~Answers() {
    end(std::chrono::milliseconds(0));
}

bool Answers::post(std::function<void()> task) {
    std::lock_guard lock(m_state->mutex);
    if (m_state->ended) return false;
    m_state->tasks.push_back(std::move(task));
    m_state->changed.notify_all();
    return true;
}

bool Answers::end(std::chrono::milliseconds limit) {
    if (!m_thread.joinable()) return true;
    std::unique_lock lock(m_state->mutex);
    m_state->ended = true;
    m_state->changed.notify_all();
    bool const own = m_thread.get_id() == std::this_thread::get_id();
    bool const gone = !own && m_state->changed.wait_for(lock, limit, [this] { return m_state->gone; });
    lock.unlock();
    if (gone)
        m_thread.join();
    else
        m_thread.detach();
    return gone || own;
}

void Answers::work(State& state) {
    std::unique_lock lock(state.mutex);
    for (;;) {
        state.changed.wait(lock, [&] { return state.ended || !state.tasks.empty(); });
        if (state.tasks.empty()) break;
        std::function<void()> task = std::move(state.tasks.front());
        state.tasks.pop_front();
        lock.unlock();
        try {
            task();
        } catch (std::exception const& exception) {
            log(ara::log::LogLevel::kError,
                std::string("exception out of an answer's function: ") + exception.what());
        } catch (...) {
            log(ara::log::LogLevel::kError, "unknown exception out of an answer's function");
        }
        task = nullptr;
        lock.lock();
    }
    state.gone = true;
    state.changed.notify_all();
}

}  // namespace eb::com::runtime
