#include "servers/did/test/Interleavings.h"

#include <set>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace did_test {

namespace {

// A role on its thread. Either the role runs or the one who says step(), never both.
class Actor {
public:
    explicit Actor(Role role) : m_role(std::move(role)), m_thread([this] { run(); }) {}
    Actor(Actor const&) = delete;
    Actor& operator=(Actor const&) = delete;
    ~Actor() {
        {
            std::lock_guard const lock(m_mutex);
            m_dismissed = true;  // what never was ready does not begin any more
            m_changed.notify_one();
        }
        m_thread.join();
    }

    bool canGoOn() const { return !m_ended && (!m_way.empty() || m_role.ready()); }
    std::string const& name() const { return m_role.name; }

    /// Where its steps ended, and what it remembers of each.
    std::string const& way() const { return m_way; }

    /// Lets it go on to its next pause, or its end.
    void step(std::string const& memory) {
        std::unique_lock lock(m_mutex);
        m_way += memory + ' ';
        hand(lock, true);
    }

    /// On the role's thread: lets step() return, and waits for the next.
    void pause(char const* place) {
        std::unique_lock lock(m_mutex);
        m_way += place;
        hand(lock, false);
    }

    static thread_local Actor* s_mine;

private:
    void run() {
        s_mine = this;
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_turn || m_dismissed; });
            if (m_dismissed) return;
        }
        m_role.play();
        std::lock_guard const lock(m_mutex);
        m_ended = true;
        m_turn = false;
        m_changed.notify_one();
    }

    void hand(std::unique_lock<std::mutex>& lock, bool turn) {
        m_turn = turn;
        m_changed.notify_one();
        m_changed.wait(lock, [this, turn] { return m_turn != turn; });
    }

    Role m_role;
    std::string m_way;  // written in turns
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_turn = false;       // whether the role runs; guarded by m_mutex
    bool m_dismissed = false;  // guarded by m_mutex
    bool m_ended = false;      // guarded by m_mutex, and read while the role stands still
    std::thread m_thread;
};
thread_local Actor* Actor::s_mine = nullptr;

using Order = std::vector<std::size_t>;

class Player {
public:
    explicit Player(std::function<std::unique_ptr<Scene>()> const& makeScene) : m_makeScene(makeScene) {}

    Played playAll() {
        m_begun.push_back({});
        while (!m_begun.empty() && !testing::Test::HasFailure()) {
            Order const begun = std::move(m_begun.back());
            m_begun.pop_back();
            play(begun);
        }
        return {m_orders, m_moments.size()};
    }

private:
    // Plays an order that has begun so to its end, and keeps where it could have gone on otherwise.
    void play(Order const& begun) {
        auto const scene = m_makeScene();
        std::vector<std::unique_ptr<Actor>> actors;
        for (Role& role : scene->roles()) {
            bool const meetsNobodyYet = role.beginsAlone;
            actors.push_back(std::make_unique<Actor>(std::move(role)));
            if (meetsNobodyYet) actors.back()->step("");
        }
        Order order;
        bool isNew = true;
        for (;;) {
            Order const next = whoCanGoOn(actors);
            if (next.empty()) break;
            std::size_t chosen = next.front();
            if (order.size() < begun.size()) {
                chosen = begun[order.size()];
            } else if (isNew) {
                isNew = m_moments.insert(moment(*scene, actors)).second;
                for (std::size_t i = 1; isNew && i < next.size(); ++i) {
                    m_begun.push_back(order);
                    m_begun.back().push_back(next[i]);
                }
            }
            order.push_back(chosen);
            actors[chosen]->step(scene->memory());
        }
        if (!isNew) return;
        ++m_orders;
        std::string steps;
        for (std::size_t const one : order) steps += actors[one]->name() + ' ';
        SCOPED_TRACE("order: " + steps);
        scene->check();
    }

    static Order whoCanGoOn(std::vector<std::unique_ptr<Actor>> const& actors) {
        Order able;
        for (std::size_t i = 0; i < actors.size(); ++i) {
            if (actors[i]->canGoOn()) able.push_back(i);
        }
        return able;
    }

    static std::string moment(Scene& scene, std::vector<std::unique_ptr<Actor>> const& actors) {
        std::string text = scene.state();
        for (auto const& actor : actors) text += '|' + actor->way();
        return text;
    }

    std::function<std::unique_ptr<Scene>()> const& m_makeScene;
    std::vector<Order> m_begun;  // what remains to be played
    std::set<std::string> m_moments;
    std::size_t m_orders = 0;
};

}  // namespace

void pause(char const* place) {
    if (Actor::s_mine != nullptr) Actor::s_mine->pause(place);
}

Played playAllOrders(std::function<std::unique_ptr<Scene>()> const& makeScene) {
    return Player(makeScene).playAll();
}

}  // namespace did_test
