#include "SmallDisk.h"

#include "FileDescriptor.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>

namespace qorn::timetagger::gui::test {

SmallDisk::SmallDisk(std::size_t bytes) {
    const std::string options = "size=" + std::to_string(bytes);
    // In a view of the file systems of its own: nothing is left mounted, however the test ends.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder.path().c_str(), "tmpfs", 0, options.c_str()) != 0) {
        reason = std::string("no file system can be mounted: ") + std::strerror(errno);
    }
}

SmallDisk::~SmallDisk() {
    if (isThere()) {
        ::umount2(folder.path().c_str(), MNT_DETACH);
    }
}

void SmallDisk::fill() {
    const timing::FileDescriptor filler(::open(file("filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const std::array<std::uint8_t, 4096> page{};
    while (filler.write(page) == page.size()) {
    }
}

} // namespace qorn::timetagger::gui::test
