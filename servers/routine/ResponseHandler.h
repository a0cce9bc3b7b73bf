#pragma once

#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <utility>

#include "binding/future/Promise.h"
#include "core/Trace.h"

namespace zvg::val::diag_ara::common {

/// A request in flight as the list of its server sees it, whatever its client is to get. Any thread.
template <class Response>
class PendingRequest {
public:
    PendingRequest() = default;
    virtual ~PendingRequest() = default;
    PendingRequest(PendingRequest const&) = delete;
    PendingRequest& operator=(PendingRequest const&) = delete;

    /// Offers it a response. True if it took it.
    virtual bool handle(Response const& response) = 0;

    /// Ends the wait early; nothing if a response has been taken already.
    virtual void cancel() = 0;

    /// Whether its task still runs.
    virtual bool isPending() const = 0;
};

/// One request in flight: a thread of its own waits for Java's response, then completes the client's future.
///
///                  handle, cancel: the first of them            the task has ended
///     Waiting ------------------------------------> Delivered -----------------> Finished
///        |                                                                          ^
///        '--------------------------- time-out -------------------------------------'
///
///     m_responseIn    handle or cancel gives it, once (m_responseSet); then the task takes it
///     m_responseOut   the task's: it completes it once, in every ending
///
/// A response that comes to a request which ended by its time-out is still taken, and nobody looks at it: the
/// task alone decides the result. There's no way back, and no handler is used twice.
///
/// Owned by its server's list, for a moment also by the method that made it; never by its own task, nor by
/// the continuation of its result, which run on its own thread. The class that owns handlerTask starts it as
/// the last step of its constructor and ends it (stop) in its destructor: there the thread is waited for. The
/// thread may run while the classes below are still being built or are already gone: it calls nothing
/// virtual.
template <class Response, class Output>
class ResponseHandler : public PendingRequest<Response> {
public:
    bool handle(Response const& response) override {
        return isResponseValid(response) && setResponseIn(response);
    }

    bool isPending() const override {
        return m_task.valid() && m_task.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
    }

    /// The client's result. Once only.
    eb::com::Future<Output> getResult() { return m_responseOut.get_future(); }

    /// Cancels, and waits for the task if it still runs. An exception that ended it meanwhile comes out here.
    void stop() {
        this->cancel();
        if (isPending()) m_task.get();
    }

protected:
    /// `name` begins its lines in the log.
    explicit ResponseHandler(std::string name) : m_name(std::move(name)) {}

    /// Waits and completes the result; on the handler's own thread.
    virtual void handlerTask(std::chrono::milliseconds timeout) = 0;

    /// Whether the response is to this request.
    virtual bool isResponseValid(Response const& response) const = 0;

    /// Runs the handlerTask of `Self` itself, the class that calls this, on a new thread. Throws
    /// std::system_error if there is none to be had.
    template <class Self>
    void start(std::chrono::milliseconds timeout) {
        m_task = std::async(std::launch::async,
                            [self = static_cast<Self*>(this), timeout] { self->Self::handlerTask(timeout); });
    }

    /// For destructors: stop, except that an exception of the task ends here.
    void end() noexcept {
        try {
            stop();
        } catch (...) {  // its client learns of it by the broken promise
        }
    }

    bool setResponseIn(Response const& response) {
        std::lock_guard const lock(m_mutex);
        if (m_responseSet) return false;
        m_responseIn.set_value(response);
        m_responseSet = true;
        return true;
    }

    std::future<Response>& responseIn() noexcept { return m_response; }
    eb::com::Promise<Output>& getResponseOutRef() noexcept { return m_responseOut; }

    template <class... Args>
    void out(eLogLevel level, Args... args) const {
        Trace::out(level, m_name.c_str(), args...);
    }

private:
    std::string const m_name;
    bool m_responseSet = false;                                    // guarded by m_mutex
    std::promise<Response> m_responseIn;                           // guarded by m_mutex
    std::future<Response> m_response = m_responseIn.get_future();  // the task's alone
    eb::com::Promise<Output> m_responseOut;  // completed by the task; getResult may come beside that
    std::mutex m_mutex;                      // held while a response is delivered
    std::future<void> m_task;                // set in the constructor, then only asked, until the destructor
};

}  // namespace zvg::val::diag_ara::common
