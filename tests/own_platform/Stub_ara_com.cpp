// A platform that does next to nothing: it offers the named operations, runs no task and finds no service.
#include <ac/com/Deadline_guard.h>
#include <ac/com/Strand.h>
#include <ac/com/cpp_binding/get_shared_payload.h>
#include <ac/com/cpp_binding/logger.h>
#include <ac/com/cpp_binding/proxy/Event_base.h>
#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/cpp_binding/skeleton/Field_handler.h>
#include <ac/com/cpp_binding/skeleton/Method_impl_base.h>
#include <ara/com/logger.h>

#include "Stub_factory.h"

namespace ac::com {

static_thread_pool::static_thread_pool(std::size_t) {}
static_thread_pool::~static_thread_pool() = default;
void static_thread_pool::sub_outstanding_work() noexcept {
    --m_outstanding;
}
std::size_t static_thread_pool::num_threads() const noexcept {
    return 1;
}

void Strand::run() {}

Deadline_guard::Deadline_guard(unsigned long const& limit, std::function<void(unsigned long)> overrun)
    : m_limit(limit), m_overrun(std::move(overrun)), m_begin(std::chrono::steady_clock::now()) {}
Deadline_guard::~Deadline_guard() = default;

namespace runtime {
namespace {

class Finder : public eb::com::runtime::Service_finder {
    std::shared_ptr<Subscription_handle> subscribe(eb::com::runtime::Service_id const&,
                                                   eb::com::runtime::Instance_id const&, Found) override {
        return std::make_shared<Subscription_handle>();
    }
};

}  // namespace

Component_singleton::Component_singleton(bool, std::string const&) {}
Component_singleton::~Component_singleton() = default;

Thread_pool_factory& Component_singleton::get_thread_pool_factory() {
    static static_thread_pool& pool = *new static_thread_pool(1);  // never destroyed, as what waits in it
    static own_platform::Stub_factory factory{{}, &pool};
    return factory;
}

eb::com::runtime::Service_finder& Component_singleton::get_service_finder() {
    static Finder finder;
    return finder;
}

}  // namespace runtime

namespace cpp_binding {

std::shared_ptr<std::vector<unsigned char>> get_shared_payload(unsigned long capacity) {
    auto payload = std::make_shared<std::vector<unsigned char>>();
    payload->reserve(capacity);
    return payload;
}

ara::log::Logger& logger() {
    return *ara::log::CreateLogger("BIND", "");
}

namespace proxy {

struct Event_base::Core {};
Event_base::Event_base(unsigned short, eb::com::runtime::Service_info,
                       std::shared_ptr<eb::com::runtime::Client_port>) {}
Event_base::~Event_base() = default;
void Event_base::internal_subscribe(Event_subscriber*, bool) {}
void Event_base::internal_unsubscribe(Event_subscriber*) {}
void Event_base::notify_all_subscribers() {}

Rport::Rport(eb::com::runtime::Service_handle const&,
             eb::com::runtime::Service_interface_description const&) {}

}  // namespace proxy

namespace skeleton {

struct Pport::Core {};
Pport::Pport(eb::com::runtime::Service_id service, eb::com::runtime::Instance_id instance,
             eb::com::runtime::Service_interface_description)
    : m_service(std::move(service)), m_instance(std::move(instance)) {}
Pport::~Pport() = default;
void Pport::start_offer() {}
void Pport::stop_offer() {}

struct Method_dispatcher::Core {
    std::unique_ptr<detail::Method_processor> processor;
};
Method_dispatcher::Method_dispatcher(Pport& port, std::unique_ptr<detail::Method_processor> processor)
    : m_port(port), m_core(std::make_shared<Core>(Core{std::move(processor)})) {}
Method_dispatcher::~Method_dispatcher() = default;
void Method_dispatcher::start() {}
void Method_dispatcher::stop() {
    m_core->processor->wait();
}

Method_impl_base::Method_impl_base(unsigned short method_id, Method_call_handler, Method_dispatcher&)
    : m_method_id(method_id) {}
void Method_impl_base::reply_method(Reply_function const&, std::shared_ptr<std::vector<unsigned char>> const&,
                                    unsigned char) {}

void Field_handler::run_offer_cond_checks() const {}

}  // namespace skeleton
}  // namespace cpp_binding
}  // namespace ac::com

ara::log::Logger& ara::com::logger() {
    return *ara::log::CreateLogger("COM", "");
}
