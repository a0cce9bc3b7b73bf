#pragma once

#include <functional>

namespace ac::com::runtime {

/// Runs a task to its end. What it throws is logged and goes no further: neither the thread nor the tasks
/// behind it suffer. The task is destroyed before this returns.
void run_task(std::function<void()>&& task) noexcept;

}  // namespace ac::com::runtime
