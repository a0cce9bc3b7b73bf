// Where calls of the vehicle's services wait for their answers.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>

namespace tester::doip {

/// A number of lanes with a thread each: the work of one lane is done one after another, in the order in
/// which it came. Any thread. Destruction waits for work under way, and drops the rest.
class Lanes {
public:
    using Work = std::function<void()>;

    /// What may wait in one lane.
    static constexpr std::size_t LIMIT = 16;

    explicit Lanes(std::size_t count) {
        for (std::size_t lane = 0; lane < count; ++lane) m_lanes.push_back(std::make_unique<Lane>());
    }
    ~Lanes() {
        for (auto const& lane : m_lanes) lane->thread.stop();
        for (auto const& lane : m_lanes) lane->thread.join();
    }
    Lanes(Lanes const&) = delete;
    Lanes& operator=(Lanes const&) = delete;

    /// False if too much is waiting there already. `work` must not throw.
    bool add(std::size_t lane, Work work) {
        Lane& chosen = *m_lanes.at(lane);
        if (chosen.open.fetch_add(1) >= LIMIT) {
            --chosen.open;
            return false;
        }
        asio::post(chosen.thread, [&chosen, work = std::move(work)] {
            work();
            --chosen.open;
        });
        return true;
    }

private:
    struct Lane {
        std::atomic<std::size_t> open{0};
        asio::thread_pool thread{1};
    };
    std::vector<std::unique_ptr<Lane>> m_lanes;
};

}  // namespace tester::doip
