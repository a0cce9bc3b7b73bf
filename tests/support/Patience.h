#pragma once

#include <chrono>

namespace test {

/// How long a test waits for what has to come: more than anything takes on a machine with much else to do.
constexpr std::chrono::seconds PATIENCE{45};

}  // namespace test
