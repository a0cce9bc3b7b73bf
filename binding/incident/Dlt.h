#pragma once

#include <concepts>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <type_traits>
#include <utility>

#include <ara/log/Logger.h>

#include "binding/incident/Additional_args.h"

namespace ac::com::log::target {
namespace detail {

/// What a maker makes; anything else itself.
template <class T>
decltype(auto) made(T const& maker) {
    if constexpr (std::invocable<T const&>) {
        return maker();
    } else {
        return (maker);
    }
}
template <class T>
using Made = std::remove_cvref_t<decltype(made(std::declval<T const&>()))>;

}  // namespace detail

/// Sends incidents to a logging context, each as one line of JSON. Refers to the logger, which lives as long
/// as the process. Any thread.
///
///     binding_log().trace([&] { return incidents::Offer_service{{service, instance}}; });
///
/// An incident, and each argument, is given as itself or as a function that makes it. The level is asked
/// before such a function is called: at a disabled level no record is copied and nothing is allocated.
class Dlt {
public:
    explicit Dlt(ara::log::Logger& logger) noexcept : m_logger(logger) {}

    bool is_log_enabled(ara::log::LogLevel level) const noexcept { return m_logger.IsLogEnabled(level); }

    /// Writes an incident at its own level. At a disabled level nothing is built.
    template <class Incident, class... Args>
    void trace(Incident const& incident, Args const&... args) const {
        trace_at(detail::Made<Incident>::LEVEL, incident, args...);
    }

    /// The same at another level.
    template <class Incident, class... Args>
    void trace_at(ara::log::LogLevel level, Incident const& incident, Args const&... args) const {
        if (!is_log_enabled(level)) {
            return;
        }
        Line line;
        to_json(line.incident(), detail::made(incident));
        json::serialization::detail::Serialization_helper::serialize_additional_args(line.json(),
                                                                                     detail::made(args)...);
        trace_impl(json::serialization::detail::get_json_dump(line.json()), level);
    }

    /// Writes a text; an empty one is not sent. Levels other than fatal, error, warn, info and verbose go out
    /// as debug.
    void trace_impl(std::string const& text, ara::log::LogLevel level) const;

private:
    /// The object that becomes a line.
    class Line {
    public:
        Line();
        ~Line();
        Line(Line const&) = delete;
        Line& operator=(Line const&) = delete;

        nlohmann::json& json() noexcept { return *m_json; }
        nlohmann::json& incident();

    private:
        std::unique_ptr<nlohmann::json> m_json;
    };

    ara::log::Logger& m_logger;
};

}  // namespace ac::com::log::target

namespace ac::com::log {

/// Where whoever starts a search has its incidents go to.
using Generic_logger = target::Dlt;

}  // namespace ac::com::log

namespace ac::com::cpp_binding::log {

/// The target of the language binding's incidents.
ac::com::log::target::Dlt binding_log();

}  // namespace ac::com::cpp_binding::log

namespace ara::com::log {

/// The target of the incidents that a service's owner is to see.
ac::com::log::target::Dlt service_log();

}  // namespace ara::com::log
