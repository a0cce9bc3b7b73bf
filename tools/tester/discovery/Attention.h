#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/proxy/Rport.h>
#include <eb/com/runtime/Client_port.h>
#include <eb/com/runtime/Service_finder.h>

#include "platform/report/Runtime_report.h"

namespace tester {

/// One event that came.
struct Sample {
    eb::com::runtime::Service_id service;
    eb::com::runtime::Instance_id instance;
    eb::com::runtime::Instance_report::Event event;
    std::vector<unsigned char> bytes;
};

/// Takes an interest in all services of the deployment: searches for each instance and subscribes to each of
/// its events, as long as it lives. The runtime has to be up, and to outlive it.
class Attention {
public:
    /// `sample` runs on a runtime thread, one call at a time.
    explicit Attention(std::function<void(Sample)> sample);

private:
    class Sink;
    struct Subscription {
        std::shared_ptr<Sink> sink;
        std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> handle;
    };
    std::vector<std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>> m_searches;
    std::vector<std::unique_ptr<ac::com::cpp_binding::proxy::Rport>> m_ports;
    std::vector<Subscription> m_subscriptions;  // end before the ports
};

/// "DiagnosticMonitor 8495840": an instance for people. An instance's invisible marks are left out, and
/// what all services are called, "1", too.
std::string shownName(eb::com::runtime::Service_id const& service,
                      eb::com::runtime::Instance_id const& instance);

/// An instance's name without marks that can't be seen.
std::string shownInstance(eb::com::runtime::Instance_id const& instance);

}  // namespace tester
