#include "platform/log/Log_core.h"

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/log/Console_target.h"
#include "platform/log/Dlt_target.h"
#include "platform/log/File_target.h"
#include "platform/log/Folding_target.h"
#include "platform/log/Memory_target.h"

namespace ara::log {
namespace {

constexpr std::array<char const*, 7> LEVELS = {"off", "fatal", "error", "warn", "info", "debug", "verbose"};

class No_target : public Target {
    void write(LogLevel, std::string_view, std::string_view) override {}
};

struct Choice {
    Target* target;
    LogLevel threshold;
    std::vector<std::string> complaints;  // what was wrong with the settings, in words
};

/// What stands behind the prefix: nothing if something else stands in front, or nothing behind.
std::string_view behind(std::string_view prefix, std::string_view text) {
    return text.substr(0, prefix.size()) == prefix ? text.substr(prefix.size()) : std::string_view();
}

Choice choose(std::string const& target, std::string const& level, std::string const& fold) {
    std::string const file(behind("file:", target));
    std::string const application(behind("dlt:", target));
    Choice choice{nullptr, LogLevel::kWarn, {}};
    if (!level.empty()) {
        std::size_t number = 0;
        while (number < LEVELS.size() && level != LEVELS[number]) ++number;
        if (number < LEVELS.size())
            choice.threshold = static_cast<LogLevel>(number);
        else
            choice.complaints.push_back(
                "ARA_LOG_LEVEL: '" + level +
                "' is none of off, fatal, error, warn, info, debug, verbose; taking warn");
    }
    if (!file.empty()) {
        try {
            choice.target = new File_target(file);
        } catch (std::system_error const& error) {
            choice.complaints.push_back(std::string("ARA_LOG_TARGET: ") + error.what() + "; taking console");
        }
    } else if (target == "dlt") {
        choice.target = &Dlt_target::instance();
    } else if (!application.empty() && application.size() <= DLT_ID_SIZE) {
        choice.target = &Dlt_target::instance(application);
    } else if (target == "memory") {
        choice.target = &Memory_target::instance();
    } else if (target == "none") {
        choice.target = new No_target;
        choice.threshold = LogLevel::kOff;
    } else if (!target.empty() && target != "console") {
        choice.complaints.push_back("ARA_LOG_TARGET: '" + target +
                                    "' is none of console, dlt, dlt:APPLICATION (1 to 4 characters), "
                                    "file:PATH, memory, none; taking console");
    }
    bool folds = false;
    if (choice.target == nullptr) {
        Console_target& console = Console_target::standardError();
        choice.target = &console;
        folds = !console.isFile();
    }
    if (fold == "on" || fold == "off")
        folds = fold == "on";
    else if (!fold.empty())
        choice.complaints.push_back("ARA_LOG_FOLD: '" + fold + "' is neither on nor off; taking " +
                                    (folds ? "on" : "off"));
    if (folds) choice.target = new Folding_target(*choice.target);
    return choice;
}

std::string environment(char const* variable) {
    char const* value = std::getenv(variable);
    return value == nullptr ? "" : value;
}

/// Gives what is still on its way a last chance when the process ends in an orderly way.
struct Flush_at_exit {
    ~Flush_at_exit() { Log_core::instance().flush(); }
};

}  // namespace

Log_core& Log_core::instance() {
    static Log_core& core = *new Log_core;
    static Flush_at_exit const flushAtExit;
    return core;
}

Log_core::Log_core() {
    Choice const choice =
        choose(environment("ARA_LOG_TARGET"), environment("ARA_LOG_LEVEL"), environment("ARA_LOG_FOLD"));
    m_target = choice.target;
    m_threshold = choice.threshold;
    for (auto const& complaint : choice.complaints) choice.target->write(LogLevel::kError, "LOG", complaint);
}

void Log_core::use(Target& target, LogLevel threshold) {
    m_target.store(&target, std::memory_order_release);
    m_threshold.store(threshold);
}

char const* name(LogLevel level) noexcept {
    auto const number = static_cast<std::size_t>(level);
    return number < LEVELS.size() ? LEVELS[number] : "?";
}

}  // namespace ara::log
