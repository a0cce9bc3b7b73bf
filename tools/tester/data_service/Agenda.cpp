#include "tools/tester/data_service/Agenda.h"

#include <utility>

namespace tester {

Agenda::Agenda() : m_thread([this](std::stop_token const& stop) { work(stop); }) {}

Agenda::~Agenda() = default;

bool Agenda::at(Time time, std::function<void()> task) {
    std::lock_guard const lock(m_mutex);
    if (m_tasks.size() >= LIMIT) return false;
    m_tasks.emplace(time, std::move(task));
    m_changed.notify_all();
    return true;
}

void Agenda::work(std::stop_token const& stop) {
    std::unique_lock lock(m_mutex);
    while (!stop.stop_requested()) {
        if (m_tasks.empty()) {
            m_changed.wait(lock, stop, [this] { return !m_tasks.empty(); });
            continue;
        }
        Time const next = m_tasks.begin()->first;
        if (next > std::chrono::steady_clock::now()) {
            m_changed.wait_until(lock, stop, next, [&] { return m_tasks.begin()->first < next; });
            continue;
        }
        std::function<void()> const task = std::move(m_tasks.extract(m_tasks.begin()).mapped());
        lock.unlock();
        task();
        lock.lock();
    }
}

}  // namespace tester
