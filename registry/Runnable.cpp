#include "registry/Runnable.h"

#include <utility>

#include "core/Trace.h"

namespace zvg::val::diag_ara::services {

eValStatus Runnable::handleMsg(int msgId, unsigned short, unsigned char*) {
    Trace::out(level::ERROR, TRACE_HERE, "Unsupported message ", msgId);
    return eValNotSupported;
}

void Runnable::addThread(std::thread thread) {
    std::lock_guard const lock(m_threadMutex);
    m_threads.push_back(std::move(thread));
}

void Runnable::startThread(std::function<void()> body) {
    std::lock_guard const lock(m_threadMutex);
    m_threads.reserve(m_threads.size() +
                      1);  // a thread that had begun and found no room would end the process
    m_threads.emplace_back([this, body = std::move(body)] {
        { std::lock_guard const listed(m_threadMutex); }
        body();
    });
}

void Runnable::removeThisThread() {
    std::lock_guard const lock(m_threadMutex);
    std::erase_if(m_threads, [self = std::this_thread::get_id()](std::thread& thread) {
        if (thread.get_id() != self) return false;
        thread.detach();
        return true;
    });
}

void Runnable::joinAndRemoveAllthreads() {
    std::vector<std::thread> threads;
    {
        std::lock_guard const lock(m_threadMutex);
        threads.swap(m_threads);
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace zvg::val::diag_ara::services
