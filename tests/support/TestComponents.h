#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "registry/Runnable.h"

namespace test {

/// What a component of a test does. Empty functions do nothing; a message is answered with eValOk.
struct Behaviour {
    std::function<void()> create = {};
    std::function<void()> init = {};
    std::function<void()> start = {};
    std::function<zvg::val::eValStatus(int, unsigned short, unsigned char*)> handleMsg = {};
    std::function<void()> destroyed = {};
};

/// The rows of the tables: "A" and "B" receive 2350, "C" receives 2937, "D" nothing. The tables are copied by
/// the first bridge of the process, so what the components do is looked up here on every call.
class Components {
public:
    static constexpr int BOTH_A_AND_B = 2350;
    static constexpr int ONLY_C = 2937;
    static constexpr int NOBODY = 600;

    /// The one of the process; `reset` begins a test.
    static Components& instance();
    void reset();

    void behave(std::string const& identifier, Behaviour behaviour);

    /// What happened: "A::init(0)", "A::start", "A::handleMsg(2350, 4)", "~A".
    std::vector<std::string> events() const;
    void forgetEvents();

    /// How many components exist.
    int alive() const { return m_alive; }

    /// A component that writes down what happens to it and behaves as told under that identifier.
    static std::unique_ptr<zvg::val::diag_ara::services::Runnable> make(std::string identifier);

private:
    friend class Component;

    Behaviour note(std::string const& identifier, std::string const& event);

    std::atomic<int> m_alive{0};
    mutable std::mutex m_mutex;
    std::map<std::string, Behaviour> m_behaviours;  // guarded by m_mutex
    std::vector<std::string> m_events;              // guarded by m_mutex
};

}  // namespace test
