#include "binding/proxy/Callout.h"

namespace ac::com::cpp_binding {

std::string to_string(std::exception_ptr const& exception) {
    if (!exception) {
        return "Exception: none";
    }
    try {
        std::rethrow_exception(exception);
    } catch (std::exception const& known) {
        char const* const what = known.what();
        return what != nullptr ? std::string("Exception: ") + what : "what() returned null ptr";
    } catch (...) {
        return "Exception: not a std::exception";
    }
}

}  // namespace ac::com::cpp_binding
