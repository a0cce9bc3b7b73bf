#pragma once

#include <string_view>

namespace ac::com::someip::serialization {

/// Stands before the text of a string, which ends with a zero byte (SOME/IP, strings). Both count in its
/// length.
inline constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

}  // namespace ac::com::someip::serialization
