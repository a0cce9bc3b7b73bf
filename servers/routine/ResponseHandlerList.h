#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "servers/routine/ResponseHandler.h"

namespace zvg::val::diag_ara::common {

/// The requests in flight of one server, oldest first, and those that ended since the last was added: they
/// are collected only then. Any thread. Destruction waits for every request as its handler does; cancelAll
/// first makes that short.
template <class Response>
class ResponseHandlerList {
public:
    explicit ResponseHandlerList(std::size_t maxHandlers) : m_maxHandlers(maxHandlers) {}

    /// False, and the handler is not kept, if as many as permitted are pending.
    bool addResponseHandler(std::shared_ptr<PendingRequest<Response>> handler) {
        Handlers finished;  // they end when the lock has been released
        std::lock_guard const lock(m_mutex);
        std::erase_if(m_handlers, [&finished](auto const& one) {
            if (one->isPending()) return false;
            finished.push_back(one);
            return true;
        });
        if (m_handlers.size() >= m_maxHandlers) return false;
        m_handlers.push_back(std::move(handler));
        return true;
    }

    /// Offers the response to one after another until one takes it. False if none did.
    bool handleResponse(Response const& response) {
        std::lock_guard const lock(m_mutex);
        return std::any_of(m_handlers.begin(), m_handlers.end(),
                           [&response](auto const& one) { return one->handle(response); });
    }

    /// Cancels all of them, and only then waits for each, so that together they take no longer than one.
    void cancelAll() {
        Handlers ending;
        {
            std::lock_guard const lock(m_mutex);
            ending.swap(m_handlers);
        }
        for (auto const& one : ending) one->cancel();
    }

private:
    using Handlers = std::vector<std::shared_ptr<PendingRequest<Response>>>;

    std::size_t const m_maxHandlers;
    Handlers m_handlers;  // guarded by m_mutex
    std::mutex m_mutex;   // taken before a handler's own
};

}  // namespace zvg::val::diag_ara::common
