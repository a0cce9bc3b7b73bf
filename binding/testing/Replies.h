#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include "binding/testing/Await.h"

namespace binding_testing {

struct Reply {
    unsigned code;
    std::vector<unsigned char> bytes;
    bool operator==(Reply const&) const = default;
};

inline void PrintTo(Reply const& reply, std::ostream* out) {
    *out << "code " << reply.code << ", bytes " << testing::PrintToString(reply.bytes);
}

/// Waits for what becomes of one call: its reply, or the end of its reply function without any.
class Reply_catcher {
public:
    ac::com::cpp_binding::skeleton::Reply_function function() {
        // Whoever holds a copy of the function holds the session; its end is told.
        std::shared_ptr<void> const session(
            nullptr, [shared = m_shared](void*) { shared->change([](Shared& s) { s.forgotten = true; }); });
        return [shared = m_shared, session](unsigned char code,
                                            eb::com::runtime::Serialized_payload const& payload) {
            shared->change([&](Shared& s) { s.replies.push_back({code, payload.bytes()}); });
        };
    }

    /// The first reply; none if the session was forgotten without one.
    std::optional<Reply> outcome() {
        std::unique_lock lock(m_shared->mutex);
        bool const ended = m_shared->changed.wait_for(
            lock, PATIENCE, [this] { return !m_shared->replies.empty() || m_shared->forgotten; });
        EXPECT_TRUE(ended) << "neither a reply nor the end of the session";
        return m_shared->replies.empty() ? std::nullopt : std::optional(m_shared->replies.front());
    }

    /// All replies, when nobody can send another.
    std::vector<Reply> allReplies() {
        std::unique_lock lock(m_shared->mutex);
        EXPECT_TRUE(m_shared->changed.wait_for(lock, PATIENCE, [this] { return m_shared->forgotten; }));
        return m_shared->replies;
    }

private:
    struct Shared {
        template <class Change>
        void change(Change const& apply) {
            std::lock_guard const lock(mutex);
            apply(*this);
            changed.notify_all();
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<Reply> replies;  // guarded by mutex
        bool forgotten = false;      // guarded by mutex
    };
    std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
};

}  // namespace binding_testing
