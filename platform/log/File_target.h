#pragma once

#include <string>

#include "platform/log/Target.h"

namespace ara::log {

/// Lines appended to a regular file, each by one write, so that several processes may share the file and
/// nothing is lost when the process is killed. The descriptor stays open to the end of the process.
class File_target : public Target {
public:
    /// Throws std::system_error, naming the path, if it can't be opened or isn't a regular file (a pipe could
    /// stall its writers).
    explicit File_target(std::string const& path);
    ~File_target() override;
    File_target(File_target const&) = delete;
    File_target& operator=(File_target const&) = delete;

    void write(LogLevel level, std::string_view context, std::string_view text) override;

private:
    int m_descriptor;
};

}  // namespace ara::log
