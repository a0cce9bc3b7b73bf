#include <ac/com/runtime/Component_singleton.h>

#include <cerrno>
#include <mutex>
#include <utility>

#include <ac/com/Exceptions.h>

#include "platform/com/deployment/Manifest.h"
#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Overrun_watch.h"
#include "platform/com/runtime/Process_runtime.h"

namespace eb::com::runtime {
namespace {

/// The runtime that the Component_singletons of this process share.
struct Shared_runtime {
    std::mutex mutex;
    std::size_t owners = 0;                                  // guarded by mutex
    std::shared_ptr<Process_runtime> runtime;                // guarded by mutex; null without owners
    std::function<std::shared_ptr<Process_runtime>()> make;  // guarded by mutex; empty outside of tests
};

/// Never destroyed, as the last owner may be a static object of any library.
Shared_runtime& sharedRuntime() {
    static Shared_runtime& shared = *new Shared_runtime;
    return shared;
}

}  // namespace

std::shared_ptr<Process_runtime> currentRuntime() {
    Shared_runtime& shared = sharedRuntime();
    std::lock_guard lock(shared.mutex);
    if (!shared.runtime)
        throw ac::com::Infrastructure_exception("there is no communication runtime in this process");
    return shared.runtime;
}

void makeRuntimesBy(std::function<std::shared_ptr<Process_runtime>()> make) {
    Shared_runtime& shared = sharedRuntime();
    std::lock_guard lock(shared.mutex);
    shared.make = std::move(make);
}

}  // namespace eb::com::runtime

namespace ac::com::runtime {

using eb::com::runtime::currentRuntime;
using eb::com::runtime::sharedRuntime;

Component_singleton::Component_singleton(bool /*standalone*/, std::string const& name) {
    auto& shared = sharedRuntime();
    std::lock_guard lock(shared.mutex);
    if (!shared.runtime) {
        shared.runtime =
            shared.make
                ? shared.make()
                : std::make_shared<eb::com::runtime::Process_runtime>(eb::com::runtime::readManifest());
        eb::com::runtime::log(ara::log::LogLevel::kInfo,
                              "runtime of '" + (name.empty() ? program_invocation_short_name : name) +
                                  "' with " + shared.runtime->deployment().origin + ", " +
                                  std::to_string(shared.runtime->deployment().services.size()) + " services");
        eb::com::runtime::Overrun_watch::ofProcess().runOn(shared.runtime);
    }
    ++shared.owners;
}

Component_singleton::~Component_singleton() {
    auto& shared = sharedRuntime();
    std::shared_ptr<eb::com::runtime::Process_runtime> last;
    {
        std::lock_guard lock(shared.mutex);
        if (--shared.owners == 0) last = std::move(shared.runtime);
    }
    if (last) last->end();
}

Thread_pool_factory& Component_singleton::get_thread_pool_factory() {
    static Thread_pool_factory factory;
    currentRuntime();
    return factory;
}

eb::com::runtime::Service_finder& Component_singleton::get_service_finder() {
    return currentRuntime()->directory();
}

ac::com::static_thread_pool& Thread_pool_factory::get(unsigned int pool_class) {
    return currentRuntime()->pool(pool_class);
}

}  // namespace ac::com::runtime
