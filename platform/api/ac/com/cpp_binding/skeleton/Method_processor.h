#pragma once

#include <functional>

#include <ara/log/Logger.h>

namespace ac::com::cpp_binding::skeleton::detail {

/// Where a skeleton's method calls run. Implemented by the binding, used by the runtime's dispatcher.
class ARA_API Method_processor {
public:
    virtual ~Method_processor() = default;

    /// Takes a call to run; never runs it on the calling thread.
    virtual void post(std::function<void()>&& call) = 0;

    /// Waits until every call posted before has ended, unless the caller is one of them. The processor can
    /// be used again afterwards.
    virtual void wait() = 0;
};

}  // namespace ac::com::cpp_binding::skeleton::detail
