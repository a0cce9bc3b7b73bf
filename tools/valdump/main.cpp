#include <exception>
#include <iostream>

#include "codec/Primitives.h"
#include "tools/valdump/CommandLine.h"

// What the codec tells of values outside their enumeration is told with the field that holds them.
void rangeCheckErrorLog(char const* /*enumName*/, unsigned int /*value*/) {}

int main(int argc, char** argv) try {
    return valdump::run(argc, argv, {std::cin, std::cout, std::cerr});
} catch (std::exception const& error) {
    std::cerr << "valdump: " << error.what() << '\n';
    return valdump::USAGE;
}
