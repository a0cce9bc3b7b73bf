#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "binding/skeleton/Method_processors.h"
#include "binding/task/Shared_pool.h"
#include "binding/testing/Fake_port.h"
#include "binding/testing/Hashes.h"

namespace binding_testing {

/// The data distribution service, offered by this process: a call is answered with its own bytes as data,
/// unless the test keeps the answers.
class Data_service {
public:
    using Interface = zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution;
    using Reply_function = ac::com::cpp_binding::skeleton::Reply_function;

    Data_service() {
        m_dispatcher.add_method(
            Interface::getDiagnosticDataValues::ID,
            [this](ac::com::cpp_binding::skeleton::Method_call_id, Reply_function const& reply,
                   eb::com::runtime::Serialized_payload const& request) {
                std::lock_guard const lock(m_mutex);
                if (m_silent) {
                    m_kept.push_back(reply);
                } else {
                    reply(0, payloadOf(ac::com::someip::serialization::to_bytes(
                                 Interface::getDiagnosticDataValues::Output{request.bytes(), {}})));
                }
            });
    }
    ~Data_service() { withdraw(); }
    Data_service(Data_service const&) = delete;
    Data_service& operator=(Data_service const&) = delete;

    void offer() {
        m_dispatcher.start();
        m_port.start_offer();
    }
    void withdraw() {
        m_port.stop_offer();
        m_dispatcher.stop();
    }
    void set(std::uint32_t number) { m_port.send_event(0, payloadOf(hashBytes(number))); }

    /// Calls from now on are kept without an answer.
    void fall_silent() {
        std::lock_guard const lock(m_mutex);
        m_silent = true;
    }
    std::size_t kept() {
        std::lock_guard const lock(m_mutex);
        return m_kept.size();
    }

private:
    ac::com::cpp_binding::skeleton::Pport m_port{
        {std::string(Interface::NAME)}, {"1"}, {Interface::DESCRIPTION}};
    std::mutex m_mutex;
    bool m_silent = false;               // guarded by m_mutex
    std::vector<Reply_function> m_kept;  // guarded by m_mutex
    ac::com::cpp_binding::skeleton::Method_dispatcher m_dispatcher{
        m_port, ac::com::cpp_binding::skeleton::detail::make_method_processor(
                    ac::com::cpp_binding::skeleton::detail::Processing_mode::parallel,
                    ac::com::cpp_binding::shared_pool())};
};

}  // namespace binding_testing
