// `routine`: starts, stops and cancels the routines, and asks for what became of them.
#include "tools/tester/GroupCommand.h"
#include "tools/tester/MethodCommand.h"

namespace tester {

namespace {

constexpr char ROUTINE_NAMES[] = "hexadecimal number (0x0687, 687), interface name, or 'all'";

constexpr char FOOTER[] = R"(
Start, stop and cancel succeed whatever Java makes of them, also when it doesn't answer within 60 s: only
`results` tells. Several routines are asked one after another.

Examples:
  tester routine start 0x0687
  tester routine results all
  tester routine results RebuildParameters --json | jq '.results[0] | {raw, status, result}'
)";

constexpr MethodWords words(unsigned short method, Reply reply, char const* name, char const* fullName,
                            char const* description, char const* done) {
    return {&routines, method, reply,       ROUTINE_PATIENCE, name,
            fullName,  "ID",   description, ROUTINE_NAMES,    done};
}

constexpr MethodWords ALL[] = {
    words(METHOD_START, Reply::nothing, "start", "routine start", "Start routines", "asked to start"),
    words(METHOD_STOP, Reply::nothing, "stop", "routine stop", "Stop routines", "asked to stop"),
    words(METHOD_REQUEST_RESULTS, Reply::output, "results", "routine results",
          "Ask for the status and the result of routines", "told their results"),
    words(METHOD_CANCEL, Reply::nothing, "cancel", "routine cancel", "Cancel routines", "cancelled"),
};

}  // namespace

std::unique_ptr<Command> routineCommand() {
    GroupCommand::Members members;
    for (auto const& each : ALL) members.push_back(std::make_unique<MethodCommand>(each));
    return std::make_unique<GroupCommand>(
        "routine", "Start, stop and cancel routines, and ask for their results", FOOTER, std::move(members));
}

}  // namespace tester
