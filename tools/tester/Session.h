// One run of the program: what it was asked for, where it writes, and its way to the services.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <stop_token>
#include <string>

#include "platform/report/Deployed_services.h"
#include "tools/tester/Exchange.h"
#include "tools/tester/Services.h"

namespace tester {

struct Target;

/// How a run ends, for scripts.
enum class ExitCode : int {
    allGood = 0,
    someFailed = 1,   ///< at least one identifier: no answer, an error, a payload that can't be read
    usage = 2,        ///< nothing was tried: wrong arguments or an unusable deployment manifest
    unreachable = 3,  ///< none of the services could be reached
    interrupted = 130,
};

enum class Format : std::uint8_t { human, json, raw };
enum class Color : std::uint8_t { automatic, always, never };

/// Longer than this without an answer, and the user is told what is being waited for.
inline constexpr milliseconds PATIENCE_OF_PEOPLE{1000};

/// The options that all subcommands share.
struct Options {
    Format format = Format::human;
    Color color = Color::automatic;
    Patience patience;
    milliseconds wait{2000};  ///< for the services to be found, in all
    milliseconds pause{20};
    std::string manifest;
    std::string address;
    bool verbose = false;
};

/// What surrounds the program; tests bring their own.
struct Environment {
    std::ostream& out;
    std::ostream& err;
    bool outIsTerminal = false;
    bool errIsTerminal = false;
    std::stop_token stop;
    std::function<std::unique_ptr<Services>()> services = runtimeServices;
    /// Grows whenever the user asks how things stand; null if nobody can ask.
    std::atomic<unsigned> const* inquiries = nullptr;
};

/// Puts terminal colours around texts, or leaves them alone.
class Paint {
public:
    explicit Paint(bool on) noexcept : m_on(on) {}
    std::string bold(std::string const& text) const { return in("1", text); }
    std::string red(std::string const& text) const { return in("31", text); }
    std::string green(std::string const& text) const { return in("32", text); }
    std::string yellow(std::string const& text) const { return in("33", text); }

private:
    std::string in(char const* color, std::string const& text) const;
    bool m_on;
};

/// Given to the subcommand that runs. Owned by the program's main thread and used by no other.
class Session {
public:
    Session(Options options, Environment& environment);

    Options const& options() const noexcept { return m_options; }
    std::ostream& out() const noexcept { return m_environment.out; }
    std::ostream& err() const noexcept { return m_environment.err; }
    std::stop_token const& stop() const noexcept { return m_environment.stop; }
    Paint paint() const;
    /// Whether the user has asked how things stand since the last call.
    bool asked();

    /// Starts the runtime at the first call, so that a subcommand that needs none does without.
    Services& services();

    /// What the manifest says that the options and the environment name. Starts nothing.
    eb::com::runtime::Deployed_services deployed();

    /// Waits for a target to be found. What a run waits for its targets is bounded as a whole.
    Reached reach(Target const& target);

    /// Who else offers a target beside the one that is used.
    std::vector<std::string> rivals(Target const& target);

    /// A line that tells what is being waited for, on a terminal's error stream only. It is written over
    /// itself until `clearProgress` wipes it.
    void progress(std::string const& text);
    void clearProgress();

    /// A line on the error stream if the user asked for more.
    void tell(std::string const& text);

private:
    void setEnvironment() const;

    Options m_options;
    Environment& m_environment;
    std::unique_ptr<Services> m_services;
    std::optional<std::chrono::steady_clock::time_point> m_waitUntil;  // set by the first wait
    bool m_progressShown = false;
    unsigned m_inquiries = 0;  // that were noticed
};

}  // namespace tester
