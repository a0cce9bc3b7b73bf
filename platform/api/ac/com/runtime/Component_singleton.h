#pragma once

#include <cstddef>
#include <string>

#include <ac/com/static_thread_pool.h>

namespace eb::com::runtime {
class Service_finder;
}

namespace ac::com::runtime {

/// Gives out the runtime's thread pools.
class ARA_API Thread_pool_factory {
public:
    /// The pool of that class. Class 1 is the shared pool of skeletons and proxies. The pool stays
    /// alive until the runtime ends.
    ac::com::static_thread_pool& get(unsigned int pool_class);
};

/// The communication runtime of this process. Ports, pools and searches work while one exists. Several may
/// exist side by side (a program and a library it loads): they share one runtime, which ends with the last.
/// Construction reads the deployment manifest and throws Invalid_argument_exception, naming file, key and
/// value, if it can't be used. Destruction ends all runtime threads within a bounded time.
class ARA_API Component_singleton {
public:
    /// `name` is the name of the application for logs; an empty one takes the program's.
    /// `standalone` is kept for the platform's own daemons and has no effect here.
    Component_singleton(bool standalone, std::string const& name);
    ~Component_singleton();
    Component_singleton(Component_singleton const&) = delete;
    Component_singleton& operator=(Component_singleton const&) = delete;

    /// Both throw Infrastructure_exception when no Component_singleton exists.
    static Thread_pool_factory& get_thread_pool_factory();
    static eb::com::runtime::Service_finder& get_service_finder();
};

}  // namespace ac::com::runtime
