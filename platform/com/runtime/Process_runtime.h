#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include <ac/com/static_thread_pool.h>
#include <eb/com/runtime/Client_port.h>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/discovery/Directory.h"
#include "platform/com/local/Local_carrier.h"
#include "platform/com/runtime/Answers.h"
#include "platform/com/runtime/Eventgroups.h"
#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Notices.h"
#include "platform/com/runtime/Open_call.h"
#include "platform/com/runtime/Provided_service.h"
#include "platform/com/runtime/Subscriptions.h"
#include "platform/com/someip/Client_links.h"
#include "platform/com/someip/Network.h"
#include "platform/com/someip/Server_endpoint.h"

namespace eb::com::runtime {

/// One communication runtime: threads, tables, carriers. A process has one, made by its first
/// Component_singleton and ended by its last; tests make several, which meet on the wire only.
///
/// Threads: "ara_com_io" has the network and all tables (Loop); "ara_com_answer" runs what clients and
/// searches gave (Answers); the pools run what skeletons take. After `end` every operation is refused or does
/// nothing, so that ports may outlive it; they share the ownership of this object.
class Process_runtime : public std::enable_shared_from_this<Process_runtime> {
public:
    /// Over the operating system's network and clock.
    explicit Process_runtime(Deployment deployment);
    /// Over a network and a clock that a test commands, both on that loop.
    Process_runtime(Deployment deployment, std::shared_ptr<Loop> loop, std::unique_ptr<Clock> clock,
                    std::unique_ptr<someip::Network> network);
    ~Process_runtime();
    Process_runtime(Process_runtime const&) = delete;
    Process_runtime& operator=(Process_runtime const&) = delete;

    /// Ends all calls, sockets and threads, in the limits that stand in the .cpp file. Idempotent. Any thread
    /// but the io thread.
    void end();

    Deployment const& deployment() const noexcept { return m_deployment; }
    Directory& directory() noexcept { return *m_directory; }
    Notices& notices() noexcept { return m_notices; }

    /// Throws Infrastructure_exception after `end`. Any thread but the io thread.
    Runtime_report report();

    /// Throws Invalid_argument_exception if the deployment doesn't know the instance.
    Service_deployment const& deploymentOf(Service_id const& service, Instance_id const& instance) const;

    /// The same for a port of that version, which holds unless the manifest says another: then the manifest's
    /// does, and a line at level 3 reports that once for each instance. Any thread.
    Service_deployment const& deploymentOf(Service_id const& service, Instance_id const& instance,
                                           Service_interface_description const& description);

    /// The pool of a class, made on first use. Throws Infrastructure_exception after `end`. Any thread.
    ac::com::static_thread_pool& pool(unsigned int poolClass);

    /// Returns when the service is reachable. Throws Invalid_argument_exception if its endpoint can't be
    /// bound. Any thread but the io thread.
    void offer(std::shared_ptr<Provided_service> const& service);
    /// Returns when no carrier takes calls for it any more. Any thread but the io thread.
    void withdraw(std::shared_ptr<Provided_service> const& service);

    std::shared_ptr<Client_port> connect(Service_deployment const& service);

    /// Runs the task later on the io thread; drops it after `end`. Any thread.
    void post(std::function<void()> task) { m_loop->post(std::move(task)); }

    /// Has the Overrun_watch look on the io thread after that time, in place of the look that was planned.
    /// Drops it after `end`. Any thread.
    void wake(std::chrono::milliseconds time, std::function<void()> look);

    /// Sends an event of a service to all who hear it, if the service is offered. io thread.
    void publish(Provided_service const& service, unsigned short event, Serialized_payload const& payload);

    /// The publisher's side of what this process offers. io thread.
    Eventgroups& eventgroups() noexcept;

private:
    class Port;
    class Publisher;
    using Name = std::pair<Service_id, Instance_id>;

    std::unique_ptr<Directory> makeDirectory();
    void send(std::shared_ptr<Open_call> const& call, Service_deployment const& service,
              unsigned short method, Serialized_payload const& request);
    std::shared_ptr<Provided_service> offerOf(Service_deployment const& service) const;

    Deployment const m_deployment;
    std::shared_ptr<Loop> const m_loop;
    std::shared_ptr<Answers> const m_answers;
    std::unique_ptr<Clock> const m_clock;
    std::unique_ptr<someip::Network> const m_network;
    Notices m_notices;
    std::unique_ptr<Directory> const m_directory;
    std::unique_ptr<someip::Client_links> const m_links;
    std::unique_ptr<Subscriptions> const m_subscriptions;
    std::unique_ptr<Publisher> const m_publisher;
    std::shared_ptr<Call_registry> const m_calls;
    std::shared_ptr<Local_carrier> const m_local;
    std::shared_ptr<Backlog> const m_backlog;

    // io thread:
    std::map<Name, std::shared_ptr<Provided_service>> m_offers;
    std::map<Endpoint, std::unique_ptr<someip::Server_endpoint>> m_endpoints;
    Clock::Timer m_nextLook;

    std::mutex m_mutex;
    std::set<Service_deployment const*> m_otherVersions;  // guarded by m_mutex; reported
    bool m_ended = false;                                 // guarded by m_mutex
    std::map<unsigned int, std::unique_ptr<ac::com::static_thread_pool>> m_pools;  // guarded by m_mutex
};

/// The runtime of this process; throws Infrastructure_exception if no Component_singleton exists. Any thread.
std::shared_ptr<Process_runtime> currentRuntime();

/// For tests: the next Component_singleton that finds no runtime in this process takes what `make` gives,
/// where it would read the environment's manifest. An empty function is the normal state. Any thread.
void makeRuntimesBy(std::function<std::shared_ptr<Process_runtime>()> make);

}  // namespace eb::com::runtime
