#include "platform/com/runtime/Notices.h"

#include <atomic>
#include <utility>

namespace eb::com::runtime {
namespace {

/// Notices that may wait for one watcher.
constexpr int WAITING_NOTICES = 1024;

}  // namespace

class Notices::Watch : public Service_finder::Subscription_handle {
public:
    explicit Watch(Watcher watcher) : m_watcher(std::move(watcher)) {}

    bool take() {
        if (m_waiting.fetch_add(1) < WAITING_NOTICES) return true;
        --m_waiting;
        return false;
    }
    void tell(Runtime_notice const& notice) {
        --m_waiting;
        m_watcher(notice);
    }

private:
    Watcher const m_watcher;
    std::atomic<int> m_waiting{0};
};

std::shared_ptr<Service_finder::Subscription_handle> Notices::watch(Watcher watcher) {
    auto watch = std::make_shared<Watch>(std::move(watcher));
    std::lock_guard lock(m_mutex);
    std::erase_if(m_watches, [](auto const& known) { return known.expired(); });
    m_watches.push_back(watch);
    return watch;
}

void Notices::tell(Runtime_notice const& notice) {
    std::lock_guard lock(m_mutex);
    for (auto const& known : m_watches) {
        auto const watch = known.lock();
        if (!watch || !watch->take()) continue;
        m_answers->post([weak = std::weak_ptr(watch), notice] {
            if (auto const present = weak.lock()) present->tell(notice);
        });
    }
}

}  // namespace eb::com::runtime
