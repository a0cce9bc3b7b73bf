// The program behind `main`.
#pragma once

#include <iosfwd>

namespace valdump {

struct Streams {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
};

/// Exit codes of the program.
enum ExitCode : int { ALL_GOOD = 0, REFUSED = 1, USAGE = 2 };

int run(int argc, char const* const* argv, Streams streams);

}  // namespace valdump
