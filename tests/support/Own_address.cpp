// Every test process offers at a loopback address of its own, so that any number of them run side by side.

#include <cstdlib>
#include <string>

#include <unistd.h>

namespace {

// Before the communication runtime is made, which may happen as the program is loaded.
[[gnu::constructor(101)]] void takeAddress() {
    auto const pid = static_cast<unsigned>(getpid());
    std::string const address = "127." + std::to_string(64U + (pid >> 16U) % 64U) + "." +
                                std::to_string((pid >> 8U) & 255U) + "." + std::to_string(pid & 255U);
    setenv("ARA_COM_ADDRESS", address.c_str(), 0);
}

}  // namespace
