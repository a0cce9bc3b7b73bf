#pragma once

#include <string>

#include <ara/log/Logger.h>

namespace eb::com::runtime {

/// Writes a line of the runtime itself, context "ACOM".
void log(ara::log::LogLevel level, std::string const& text) noexcept;

}  // namespace eb::com::runtime
