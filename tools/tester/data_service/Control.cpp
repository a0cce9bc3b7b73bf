#include "tools/tester/data_service/Control.h"

#include <stdexcept>
#include <utility>

#include "binding/skeleton/Method_processors.h"
#include "binding/task/Shared_pool.h"

namespace tester {

namespace {

namespace skeleton = ac::com::cpp_binding::skeleton;

eb::com::runtime::Serialized_payload payload(std::string const& text) {
    return eb::com::runtime::Serialized_payload(
        std::make_shared<std::vector<unsigned char> const>(text.begin(), text.end()));
}

}  // namespace

Control::Control(Command command)
    : m_port({CONTROL_INTERFACE}, {"1"}, {CONTROL_VERSION}),
      m_dispatcher(m_port,
                   skeleton::detail::make_method_processor(skeleton::detail::Processing_mode::sequential,
                                                           ac::com::cpp_binding::shared_pool())) {
    m_dispatcher.add_method(
        CONTROL_COMMAND,
        [command = std::move(command)](skeleton::Method_call_id, skeleton::Reply_function const& reply,
                                       eb::com::runtime::Serialized_payload const& request) {
            if (!reply) return;
            std::string const line(request.bytes().begin(), request.bytes().end());
            try {
                reply(0, payload(command(line)));
            } catch (std::invalid_argument const& error) {
                reply(CONTROL_REFUSED, payload(error.what()));
            }
        });
    m_dispatcher.start();
    m_port.start_offer();
}

Control::~Control() {
    m_port.stop_offer();
    m_dispatcher.stop();
}

}  // namespace tester
