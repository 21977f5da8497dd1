#include "RegularFile.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>

namespace qorn::qornts {

timing::FileDescriptor openRegularFile(const std::filesystem::path& path, int flags) {
    timing::FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
        failAt(path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error(path.string() + ": not a regular file");
    }
    return file;
}

void failAt(const std::filesystem::path& path) {
    failAt(path, errno);
}

void failAt(const std::filesystem::path& path, int reason) {
    throw std::runtime_error(path.string() + ": " + std::strerror(reason));
}

} // namespace qorn::qornts
