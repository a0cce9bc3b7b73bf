#pragma once

#include <filesystem>
#include <string>

#include <sched.h>

namespace did_test {

/// Keeps all threads of the process on its first core as long as it exists: a thread that is woken then runs
/// only when the one that woke it stops. Threads that are started meanwhile stay there as well.
class OneCore {
public:
    OneCore() {
        ::sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t first;
        CPU_ZERO(&first);
        int core = 0;
        while (!CPU_ISSET(core, &m_before)) ++core;
        CPU_SET(core, &first);
        apply(first);
    }
    ~OneCore() { apply(m_before); }
    OneCore(OneCore const&) = delete;
    OneCore& operator=(OneCore const&) = delete;

private:
    static void apply(cpu_set_t const& cores) {
        for (auto const& task : std::filesystem::directory_iterator("/proc/self/task"))
            ::sched_setaffinity(std::stoi(task.path().filename()), sizeof cores, &cores);
    }

    cpu_set_t m_before{};
};

}  // namespace did_test
