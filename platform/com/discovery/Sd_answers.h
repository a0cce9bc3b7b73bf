#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// Answers to searches that came by multicast. Each waits for a moment of its own, so that not everybody
/// answers at once what everybody was asked.
///
/// Bounded: while WAITING of them wait, others are left out; who asked repeats his question. One thread.
class Sd_answers {
public:
    using Time = std::chrono::milliseconds;
    static constexpr std::size_t WAITING = 1024;

    struct Answer {
        Address asker;
        Service_deployment const* service;
    };
    /// One that waits already goes out in its own time, and answers both questions.
    void add(Address const& asker, Service_deployment const& service, Time due);
    /// Those that are due.
    std::vector<Answer> take(Time now);
    std::optional<Time> due() const;

private:
    std::map<std::pair<Address, Service_deployment const*>, Time> m_waiting;
};

}  // namespace eb::com::runtime
