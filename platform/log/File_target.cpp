#include "platform/log/File_target.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/log/Console_target.h"
#include "platform/log/Line.h"

namespace ara::log {

File_target::File_target(std::string const& path)
    : m_descriptor(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0644)) {
    if (m_descriptor < 0) throw std::system_error(errno, std::generic_category(), path);
    struct stat status {};
    if (::fstat(m_descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(m_descriptor);
        throw std::system_error(EINVAL, std::generic_category(), path + " is not a regular file");
    }
}

File_target::~File_target() {
    ::close(m_descriptor);
}

void File_target::write(LogLevel level, std::string_view context, std::string_view text) {
    writeAll(m_descriptor, formatLine(level, context, text, false));
}

}  // namespace ara::log
