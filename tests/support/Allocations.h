#pragma once

#include <atomic>
#include <cstddef>

namespace test {

/// What operator new and delete of this program do, which Allocations.cpp replaces. Any thread may allocate
/// while a test reads.
struct Allocations {
    static inline std::atomic<std::size_t> largest{0};    ///< in bytes, since a test last set it to 0
    static inline std::atomic<std::ptrdiff_t> in_use{0};  ///< bytes, as malloc rounds them up
    /// How many more allocations of this thread succeed before all others throw bad_alloc; negative: all do.
    static inline thread_local long left = -1;
    /// Whether only one of them throws, after which `left` is -1.
    static inline thread_local bool only_one = false;
};

}  // namespace test
