// The program from its arguments to its exit code.
#pragma once

#include "tools/tester/Session.h"

namespace tester {

/// Reads the arguments and runs the subcommand. Writes nowhere but to the environment's streams and throws
/// nothing. The result is the exit code of the process.
int run(int argc, char const* const* argv, Environment& environment);

}  // namespace tester
