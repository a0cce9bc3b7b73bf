#pragma once

#include <string>
#include <string_view>

#include <ara/log/Logger.h>

namespace ara::log {

/// A message as one line of text with its end: "12:34:56.789 DIAG info text". An end of line in the message
/// is left out at its end, and any other control character is written as "\xNN", so that foreign bytes can
/// neither forge a line nor command a terminal.
std::string formatLine(LogLevel level, std::string_view context, std::string_view text, bool coloured);

}  // namespace ara::log
