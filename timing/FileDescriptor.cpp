#include "FileDescriptor.h"

#include <cerrno>

#include <unistd.h>

namespace qorn::timing {

bool FileDescriptor::close() {
    const int closing = std::exchange(fd, -1);
    return closing < 0 || ::close(closing) == 0;
}

std::size_t FileDescriptor::write(std::span<const std::uint8_t> bytes) const {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return written;
}

std::ptrdiff_t FileDescriptor::read(std::span<std::uint8_t> bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(fd, bytes.data() + done, bytes.size() - done);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return static_cast<std::ptrdiff_t>(done);
}

} // namespace qorn::timing
