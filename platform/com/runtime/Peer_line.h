#pragma once

#include <memory>
#include <string>

#include <ara/log/Logger.h>

#include "platform/com/runtime/Loop.h"

namespace eb::com::runtime {

/// One kind of line in the log that a peer can provoke as often as it likes. The first is written at once.
/// Those of the following second are counted, and the newest of them is written with their number, and so on
/// for each second until one passes without any. Owned by the part that writes the line, whose destruction
/// drops the count. io thread.
class Peer_line {
public:
    Peer_line(Clock& clock, ara::log::LogLevel level);

    void write(std::string const& text);

private:
    struct State;
    std::shared_ptr<State> const m_state;
};

}  // namespace eb::com::runtime
