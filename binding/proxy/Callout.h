// Calls of users' functions, and what their failures read like.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace ac::com {

/// Calls a user's function. What it throws goes to `on_exception` as a std::exception_ptr, and no further.
template <class Callout, class On_exception>
void apply_callout_with_on_exception(Callout&& callout, On_exception&& on_exception) {
    try {
        std::forward<Callout>(callout)();
    } catch (...) {
        std::forward<On_exception>(on_exception)(std::current_exception());
    }
}

namespace cpp_binding {

/// An exception for a log: "Exception: " and its what(), or "what() returned null ptr". One that is no
/// std::exception has no text of its own and is told as such.
std::string to_string(std::exception_ptr const& exception);

namespace proxy {

/// Longest time in milliseconds that a user's function may take on a strand without being reported. They
/// share a pool with the methods of skeletons, so they are to hand longer work over to a thread of its own.
inline constexpr unsigned long FIND_HANDLER_LIMIT = 500;
inline constexpr unsigned long EVENT_HANDLER_LIMIT = 500;

}  // namespace proxy
}  // namespace cpp_binding
}  // namespace ac::com
