// Native threads that go on calling the bridge while the process exits, and after its objects are gone: each
// call then has to end with a refusal. Started with a number, this program runs itself that often and reports
// the runs that did not end as they should; started with "once" and a way to end, it is one such run.

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "codec/diagnostics.h"
#include "registry/DiagAraService.h"
#include "tests/support/Connector.h"

extern char** environ;

namespace {

using zvg::val::eValNotReady;
using zvg::val::eValOk;
using zvg::val::eValStatus;
using zvg::val::diag_ara::DiagAraService;

constexpr int READ_ANSWER = 2350;  // an id with receivers
constexpr int WRONG_RESULT = 3;
constexpr unsigned TOO_LONG = 120;  // seconds

/// Outlives everything in the process, as a real JVM does.
fake::Jvm& jvm() {
    static auto& lasting = *new fake::Jvm;
    return lasting;
}

std::atomic<bool> destroyed{false};      // all objects of the bridge's library
std::atomic<unsigned> callsBefore{0};    // answered, up to then
std::atomic<unsigned> refusedBehind{0};  // from then on

void expect(bool right, char const* what) {
    if (right) return;
    std::fprintf(stderr, "not refused after the end: %s\n", what);
    std::_Exit(WRONG_RESULT);
}

eValStatus send() {
    tValDiagnosticsrequestIndds record{};
    return DiagAraService::getInstance()->sendMsg(2, &record, PackValDiagnosticsrequestInd, true);
}

/// Calls again and again; what begins when all is destroyed has to be refused.
template <class Call, class Result>
void keepCalling(char const* what, Call call, Result refusal) {
    std::thread([=] {
        for (;;) {
            bool const behind = destroyed;
            auto const result = call();
            if (behind) {
                expect(result == refusal, what);
                ++refusedBehind;
            } else {
                ++callsBefore;
            }
        }
    }).detach();
}

void startCalling() {
    for (int i = 0; i < 3; ++i)
        keepCalling(
            "write",
            [] {
                return fake::Connector(jvm()).write(READ_ANSWER, {0x47, 0xB0});
            },
            -1);
    keepCalling("a send", send, eValNotReady);
    keepCalling(
        "register",
        [] {
            int const result = fake::Connector(jvm()).registerListener();
            jvm().takeException();
            return result;
        },
        -1);
    keepCalling(
        "unregister", [] { return fake::Connector(jvm()).unregister(); }, -1);
}

/// Made before, and so destroyed after, all objects of static life.
struct Last {
    bool armed = false;
    ~Last() {
        if (!armed) return;
        destroyed = true;
        while (refusedBehind < 500) std::this_thread::yield();  // the alarm ends a run that hangs
        fake::Connector java(jvm());
        expect(java.registerListener() == -1, "register of the ending thread");
        expect(java.write(READ_ANSWER, {1}) == -1, "write of the ending thread");
        expect(java.unregister() == -1, "unregister of the ending thread");
        expect(send() == eValNotReady, "a send of the ending thread");
    }
};
[[gnu::init_priority(101)]] Last last;

constexpr std::array WAYS{"return", "exit", "exit of a thread", "first call after the end"};

/// One run; what it returns is what main returns.
int once(std::string const& way) {
    alarm(TOO_LONG);
    last.armed = true;
    if (way == WAYS[3]) {
        keepCalling(
            "the first write",
            [] {
                while (!destroyed) std::this_thread::yield();
                return fake::Connector(jvm()).write(READ_ANSWER, {1});
            },
            -1);
        // The first round of that loop counts as begun before; all others don't.
        return EXIT_SUCCESS;
    }
    fake::Connector(jvm()).registerListener();
    startCalling();
    while (callsBefore < 200) std::this_thread::yield();
    if (way == WAYS[1]) std::exit(EXIT_SUCCESS);
    if (way == WAYS[2]) {
        std::thread([] { std::exit(EXIT_SUCCESS); }).detach();
        for (;;) pause();
    }
    return EXIT_SUCCESS;
}

/// How a run of that way ended, by waitpid's status.
int run(char const* program, char const* way) {
    std::string command = program, mode = "once", argument = way;
    std::array<char*, 4> arguments{command.data(), mode.data(), argument.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, arguments.data(), environ) != 0) std::abort();
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 3) return once(arguments[2]);
    int const runs = count == 2 ? std::atoi(arguments[1]) : 1;
    int wrong = 0;
    for (int i = 0; i < runs; ++i) {
        auto const* const way = WAYS[static_cast<std::size_t>(i) % WAYS.size()];
        int const status = run(arguments[0], way);
        if (status == 0) continue;
        ++wrong;
        std::printf("run %d, %s: %s %d\n", i, way, WIFSIGNALED(status) ? "signal" : "exit code",
                    WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
    }
    std::printf("%d of %d runs ended as they should\n", runs - wrong, runs);
    return wrong == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
