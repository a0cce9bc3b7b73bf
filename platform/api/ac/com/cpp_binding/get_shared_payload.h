#pragma once

#include <memory>
#include <vector>

#include <ara/log/Logger.h>

namespace ac::com::cpp_binding {

/// An empty byte vector with room for `capacity` bytes. The capacity is an estimate and limits nothing.
ARA_API std::shared_ptr<std::vector<unsigned char>> get_shared_payload(unsigned long capacity);

}  // namespace ac::com::cpp_binding
