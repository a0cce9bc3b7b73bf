#include "platform/com/runtime/Process_runtime.h"

#include <string>
#include <system_error>
#include <thread>

#include <ac/com/Exceptions.h>

#include "platform/com/discovery/Sd_directory.h"
#include "platform/com/discovery/Static_directory.h"
#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Port.h"
#include "platform/com/runtime/Publisher.h"
#include "platform/com/someip/Asio_network.h"

namespace eb::com::runtime {
namespace {

constexpr std::size_t POOL_THREADS = 4;

/// For users' functions that are running when the runtime ends. A thread may be inside one for good, such as
/// a pool thread that a Java VM holds back at its exit.
constexpr std::chrono::milliseconds END_LIMIT{2000};

void endWithin(Answers& thread, char const* what) {
    if (!thread.end(END_LIMIT))
        log(ara::log::LogLevel::kError, std::string(what) + " doesn't return and is left behind");
}

/// Ends the pools by a thread of their own, which waits for their tasks longer than the caller may.
void endPools(std::map<unsigned int, std::unique_ptr<ac::com::static_thread_pool>> pools) {
    if (pools.empty()) return;
    Answers ender;
    ender.post([owned = std::make_shared<decltype(pools)>(std::move(pools))] { owned->clear(); });
    endWithin(ender, "a task of a thread pool");
}

}  // namespace

Process_runtime::Process_runtime(Deployment deployment)
    : Process_runtime(std::move(deployment), std::make_shared<Loop>(), nullptr, nullptr) {}

Process_runtime::Process_runtime(Deployment deployment, std::shared_ptr<Loop> loop,
                                 std::unique_ptr<Clock> clock, std::unique_ptr<someip::Network> network)
    : m_deployment(std::move(deployment)),
      m_loop(std::move(loop)),
      m_answers(std::make_shared<Answers>()),
      m_clock(clock ? std::move(clock) : std::make_unique<Loop_clock>(*m_loop)),
      m_network(network ? std::move(network)
                        : std::make_unique<someip::Asio_network>(m_loop, m_deployment.limits.sendQueueBytes)),
      m_notices(m_answers),
      m_directory(makeDirectory()),
      m_links(std::make_unique<someip::Client_links>(*m_network, *m_clock, m_deployment.limits)),
      m_subscriptions(std::make_unique<Subscriptions>(
          *m_directory, *m_links, *m_clock,
          [this](Service_deployment const& service) { return offerOf(service); })),
      m_publisher(std::make_unique<Publisher>(*this)),
      m_calls(std::make_shared<Call_registry>(m_loop, m_answers)),
      m_local(std::make_shared<Local_carrier>(m_loop, m_deployment.limits)),
      m_backlog(std::make_shared<Backlog>(m_deployment.limits)) {
    m_links->listen(*m_subscriptions);
    try {
        m_loop->run([this] { m_directory->start(*m_subscriptions, *m_publisher); });
    } catch (...) {
        end();
        throw;
    }
}

std::unique_ptr<Directory> Process_runtime::makeDirectory() {
    if (m_deployment.discovery.mode == Discovery::Mode::fixed)
        return std::make_unique<Static_directory>(m_deployment, m_answers, m_notices);
    return std::make_unique<Sd_directory>(m_deployment, m_loop, *m_clock, *m_network, m_answers, m_notices);
}

Process_runtime::~Process_runtime() {
    end();
}

void Process_runtime::end() {
    decltype(m_pools) pools;
    {
        std::lock_guard lock(m_mutex);
        if (std::exchange(m_ended, true)) return;
        pools.swap(m_pools);
    }
    m_calls->endAll(nullptr, "the communication runtime has ended");
    decltype(m_offers) offers;
    m_loop->end([this, &offers] {
        m_nextLook.reset();
        m_directory->end();
        offers.swap(m_offers);
        m_subscriptions->end();
        m_endpoints.clear();
        m_links->close();
    });
    endWithin(*m_answers, "the function for an answer");
    endPools(std::move(pools));
}

Service_deployment const& Process_runtime::deploymentOf(Service_id const& service,
                                                        Instance_id const& instance) const {
    if (Service_deployment const* row = m_deployment.find(service, instance)) return *row;
    throw ac::com::Invalid_argument_exception(m_deployment.origin + ": services: has no interface " +
                                              service.value + " with instance " + instance.value);
}

Service_deployment const& Process_runtime::deploymentOf(Service_id const& service,
                                                        Instance_id const& instance,
                                                        Service_interface_description const& description) {
    Service_deployment const& row = deploymentOf(service, instance);
    if (row.version.settle(description)) return row;
    std::lock_guard lock(m_mutex);
    if (m_otherVersions.insert(&row).second)
        log(ara::log::LogLevel::kWarn, m_deployment.origin + ": " + service.value + ", instance " +
                                           instance.value + ": has version " + row.version.text() +
                                           " where the program has " + std::to_string(description.major()) +
                                           "." + std::to_string(description.minor()));
    return row;
}

ac::com::static_thread_pool& Process_runtime::pool(unsigned int poolClass) {
    std::lock_guard lock(m_mutex);
    if (m_ended) throw ac::com::Infrastructure_exception("the communication runtime has ended");
    auto& pool = m_pools[poolClass];
    if (!pool) pool = std::make_unique<ac::com::static_thread_pool>(POOL_THREADS);
    return *pool;
}

void Process_runtime::wake(std::chrono::milliseconds time, std::function<void()> look) {
    post([this, time, look = std::move(look)] { m_nextLook = m_clock->after(time, look); });
}

void Process_runtime::offer(std::shared_ptr<Provided_service> const& service) {
    Service_deployment const& deployment = service->deployment();
    auto const task = [&] {
        Name const name{deployment.interface, deployment.instance};
        if (auto const offer = m_offers.find(name); offer != m_offers.end()) {
            if (offer->second == service) return;
            throw ac::com::Invalid_argument_exception(deployment.interface.value + " is offered already");
        }
        auto& endpoint = m_endpoints[deployment.endpoint];
        if (!endpoint)
            endpoint = std::make_unique<someip::Server_endpoint>(
                m_loop, m_backlog, *m_clock, *m_network, m_deployment.limits, deployment.endpoint,
                [this, at = deployment.endpoint](Address const& peer) { m_directory->connected(at, peer); },
                [this, at = deployment.endpoint](std::uint16_t id, std::uint16_t eventgroup,
                                                 Address const& subscriber) {
                    m_publisher->gone(at, id, eventgroup, subscriber);
                });
        endpoint->offer(service);
        m_offers.emplace(name, service);
        m_directory->offered(deployment);
        m_subscriptions->locationChanged(deployment);
    };
    try {
        if (m_loop->run(task)) return;
    } catch (std::system_error const& error) {
        throw ac::com::Invalid_argument_exception(deployment.interface.value + " can't be offered at " +
                                                  deployment.endpoint.text() + ": " + error.code().message());
    }
    throw ac::com::Infrastructure_exception("the communication runtime has ended");
}

void Process_runtime::withdraw(std::shared_ptr<Provided_service> const& service) {
    m_loop->run([&] {
        Service_deployment const& deployment = service->deployment();
        auto const offer = m_offers.find({deployment.interface, deployment.instance});
        if (offer == m_offers.end() || offer->second != service) return;
        m_offers.erase(offer);
        m_endpoints.at(deployment.endpoint)->withdraw(*service);
        m_directory->withdrawn(deployment);
        m_subscriptions->locationChanged(deployment);
    });
}

std::shared_ptr<Provided_service> Process_runtime::offerOf(Service_deployment const& service) const {
    auto const offer = m_offers.find({service.interface, service.instance});
    return offer == m_offers.end() ? nullptr : offer->second;
}

void Process_runtime::publish(Provided_service const& service, unsigned short event,
                              Serialized_payload const& payload) {
    if (offerOf(service.deployment()).get() != &service) return;
    Service_deployment const& deployment = service.deployment();
    m_subscriptions->published(deployment, event, payload);
    m_endpoints.at(deployment.endpoint)->subscribers().notify(deployment, deployment.events[event], payload);
}

std::shared_ptr<Client_port> Process_runtime::connect(Service_deployment const& service) {
    return std::make_shared<Port>(shared_from_this(), service);
}

void Process_runtime::send(std::shared_ptr<Open_call> const& call, Service_deployment const& service,
                           unsigned short method, Serialized_payload const& request) {
    if (call->ended()) return;
    if (method >= service.methods.size())
        return call->finish({Call_outcome::transport,
                             0,
                             {},
                             m_deployment.origin + ": " + service.interface.value + " has no method " +
                                 std::to_string(method)});
    auto const local = offerOf(service);
    auto const endpoint = m_directory->locate(service);
    if (!local && !endpoint)
        return call->finish({Call_outcome::not_available, 0, {}, "nobody offers " + service.interface.value});

    std::string const where = local ? "local" : endpoint->text();
    auto const limit = m_deployment.limits.callLimit;
    call->timer = m_clock->after(limit, [weak = std::weak_ptr(call), where, limit] {
        if (auto const late = weak.lock())
            late->finish({Call_outcome::cancelled,
                          0,
                          {},
                          where + ": no answer within " + std::to_string(limit.count()) + " ms"});
    });
    if (local) return m_local->send(call, local, method, request);
    if (auto const link = m_links->to(*endpoint))
        return link->send(call, service, service.methods[method].id, request);
    call->finish({Call_outcome::transport, 0, {}, where + ": no socket to be had"});
}

}  // namespace eb::com::runtime
