#include "binding/incident/Dlt.h"

#include <nlohmann/json.hpp>

#include <ac/com/cpp_binding/logger.h>
#include <ara/com/logger.h>

namespace ac::com::log::target {

Dlt::Line::Line() : m_json(std::make_unique<nlohmann::json>(nlohmann::json::object())) {}

Dlt::Line::~Line() = default;

nlohmann::json& Dlt::Line::incident() {
    return (*m_json)["1_incident"];
}

void Dlt::trace_impl(std::string const& text, ara::log::LogLevel level) const {
    if (text.empty()) {
        return;
    }
    using enum ara::log::LogLevel;
    bool const known =
        level == kFatal || level == kError || level == kWarn || level == kInfo || level == kVerbose;
    ara::log::LogStream(known ? level : kDebug, m_logger) << text.c_str();
}

}  // namespace ac::com::log::target

namespace ac::com::cpp_binding::log {

ac::com::log::target::Dlt binding_log() {
    return ac::com::log::target::Dlt(cpp_binding::logger());
}

}  // namespace ac::com::cpp_binding::log

namespace ara::com::log {

ac::com::log::target::Dlt service_log() {
    return ac::com::log::target::Dlt(com::logger());
}

}  // namespace ara::com::log
