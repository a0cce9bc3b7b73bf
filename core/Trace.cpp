#include "core/Trace.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <locale>
#include <string>
#include <thread>

#include "codec/Primitives.h"

namespace zvg::val {

namespace {

/// The longest text that fits into one DLT message as its only argument.
constexpr std::size_t MAX_PIECE = 0x567;

constexpr char const* BUILD_VARIANT = "diag_ara-desktop";

ara::log::LogLevel mapped(eLogLevel level) {
    switch (level) {
        case 1:
            return ara::log::LogLevel::kFatal;
        case 2:
            return ara::log::LogLevel::kError;
        case 3:
            return ara::log::LogLevel::kWarn;
        case 6:
            return ara::log::LogLevel::kVerbose;
        default:
            return ara::log::LogLevel::kInfo;
    }
}

}  // namespace

std::atomic<int> Trace::mLogLevel{0};
std::atomic<ara::log::Logger*> Trace::g_loggerCtx{nullptr};
std::mutex Trace::mtxLog;

void Trace::startLine(std::ostream& line) {
    line.imbue(std::locale::classic());  // whatever the host program has chosen: no separators inside numbers
    std::time_t const now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, sizeof "00:00:00"> clock{};
    std::strftime(clock.data(), clock.size(), "%H:%M:%S", &local);
    line << clock.data() << '|' << std::this_thread::get_id() << '|';
}

void Trace::sendLine(std::string line, eLogLevel level) {
    if (mLogLevel <= 0 || g_loggerCtx == nullptr) return;
    char* piece = line.data();
    for (std::size_t left = line.size(); left > 0;) {
        std::size_t const length = std::min(left, MAX_PIECE);
        char* const end = piece + length;
        char const overwritten = *end;
        *end = '\0';
        sendNativeString(piece, level);
        *end = overwritten;
        piece = end;
        left -= length;
    }
}

void Trace::sendNativeString(char* text, eLogLevel level) {
    if (level == 0) return;
    ara::log::LogStream(mapped(level), *g_loggerCtx) << text;
}

void Trace::printBuildInfo() {
    out(level::INFO, "", "osal api version ", 28, ".", 3, ".", 0);
    out(level::INFO, "", "variant ", BUILD_VARIANT);
}

}  // namespace zvg::val

void rangeCheckErrorLog(char const* enumName, unsigned int value) {
    using zvg::val::Trace;
    Trace::out(zvg::val::level::ERROR, TRACE_HERE, "enum rangecheck failure for enumeration ", enumName,
               " value", value);
}
