#include <iostream>

#include <unistd.h>

#include "tools/tester/CommandLine.h"
#include "tools/tester/Interruption.h"

int main(int argc, char** argv) {
    tester::Interruption interruption;
    tester::Environment environment{std::cout,
                                    std::cerr,
                                    isatty(STDOUT_FILENO) == 1,
                                    isatty(STDERR_FILENO) == 1,
                                    interruption.stop(),
                                    tester::runtimeServices,
                                    &interruption.inquiries()};
    int const code = tester::run(argc, argv, environment);
    return interruption.signal() != 0 ? 128 + interruption.signal() : code;
}
