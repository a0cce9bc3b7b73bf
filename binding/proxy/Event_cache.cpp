#include "binding/proxy/Event_cache.h"

#include <algorithm>
#include <utility>

namespace ac::com::cpp_binding::proxy::detail {

bool copy_samples_to_cache(std::vector<Sample> received, Event_cache_update_policy policy,
                           std::vector<Sample>& cache) {
    std::size_t const room = cache.size();
    bool const took_any = room != 0 && !received.empty();
    if (policy == Event_cache_update_policy::last_n) {
        auto const held = std::find(cache.begin(), cache.end(), nullptr);
        received.insert(received.begin(), cache.begin(), held);
    }
    if (received.size() > room) {
        received.erase(received.begin(), received.end() - static_cast<std::ptrdiff_t>(room));
    }
    received.resize(room);
    cache.swap(received);
    return took_any;
}

}  // namespace ac::com::cpp_binding::proxy::detail
