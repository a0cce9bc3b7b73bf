// Writes what its arguments say, one message each, to the log target of the environment: LEVEL:TEXT, where a
// TEXT of the form NxC is the character C repeated N times. `pause` waits for a line on the standard input.
#include <cstdlib>
#include <iostream>
#include <string>

#include <ara/log/Logger.h>

namespace {

std::string expanded(std::string const& text) {
    std::size_t const times = text.find('x');
    if (times == std::string::npos || times == 0 || text.find_first_not_of("0123456789") != times ||
        times + 2 != text.size())
        return text;
    return std::string(std::stoul(text.substr(0, times)), text.back());
}

}  // namespace

int main(int count, char** arguments) {
    ara::log::Logger& logger = *ara::log::CreateLogger("DIAG", "DIAG logging context");
    for (int at = 1; at < count; ++at) {
        std::string const argument = arguments[at];
        if (argument == "pause") {
            std::string line;
            std::cout << "paused" << std::endl;
            std::getline(std::cin, line);
            continue;
        }
        std::size_t const colon = argument.find(':');
        if (colon != 1) {
            std::cerr << "log_lines: '" << argument << "' has to be LEVEL:TEXT" << std::endl;
            return 2;
        }
        auto const level = static_cast<ara::log::LogLevel>(argument[0] - '0');
        ara::log::LogStream(level, logger) << expanded(argument.substr(2)).c_str();
    }
}
