// How `data-service set` and `data-service play` reach a data service that runs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

namespace tester {

/// The interface of the tester's own service. Its one method takes a line of text; the reply is the text of
/// what was done, or return code CONTROL_REFUSED with the reason as text.
inline constexpr char CONTROL_INTERFACE[] = "tester::DataServiceControl";
inline constexpr std::uint32_t CONTROL_VERSION = 0x00010000;  ///< 1.0
inline constexpr unsigned short CONTROL_COMMAND = 0;
inline constexpr unsigned char CONTROL_REFUSED = 0x20;

/// Offers the control of a data service while it lives. Any thread. Destruction withdraws it.
class Control {
public:
    /// Gives what was done, throws std::invalid_argument for what it refuses. On threads of the pool.
    using Command = std::function<std::string(std::string const&)>;

    explicit Control(Command command);
    ~Control();
    Control(Control const&) = delete;
    Control& operator=(Control const&) = delete;

private:
    ac::com::cpp_binding::skeleton::Pport m_port;
    ac::com::cpp_binding::skeleton::Method_dispatcher m_dispatcher;
};

}  // namespace tester
