// The samples that a subscriber keeps.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace ac::com::cpp_binding::proxy {

/// What an update of the cache does with the samples of the updates before.
enum class Event_cache_update_policy : std::uint8_t {
    last_n = 0,    ///< they stay until newer ones need their room
    newest_n = 1,  ///< they go: the cache holds what this update brought, and nothing else
};

/// A sample of any event; the event knows its type. Never changed.
using Sample = std::shared_ptr<void const>;

namespace detail {

/// Fills the cache, whose size is its room, from received samples (oldest first) under the policy. It keeps
/// the newest; samples stand oldest first, empty pointers behind them. Returns whether it took any.
bool copy_samples_to_cache(std::vector<Sample> received, Event_cache_update_policy policy,
                           std::vector<Sample>& cache);

}  // namespace detail
}  // namespace ac::com::cpp_binding::proxy
