#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::qornts {
namespace fs = std::filesystem;

OutputFile::OutputFile(fs::path path, bool replace) : target(std::move(path)), replacing(replace) {
    const fs::file_status status = fs::symlink_status(target);
    if (fs::exists(status) && !replace) {
        throw std::runtime_error(target.string() + ": there is such a file already; --force replaces it");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw std::runtime_error(target.string() + ": not a regular file");
    }
    fs::path beside = target;
    beside += ".part";
    cleanup.emplace(beside.string(), [&] {
        const int mode = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (replace ? O_TRUNC : O_EXCL);
        file = timing::FileDescriptor(::open(beside.c_str(), mode, 0666));
        if (!file.is_open()) {
            fail(beside);
        }
    });
    part = std::move(beside);
}

OutputFile::OutputFile() : target("standard output"), file(::dup(STDOUT_FILENO)) {
    if (!file.is_open()) {
        fail(target);
    }
}

OutputFile::~OutputFile() {
    if (!part.empty()) {
        ::unlink(part.c_str());
    }
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
    if (file.write(bytes) < bytes.size()) {
        fail(target);
    }
}

void OutputFile::rewriteFront(std::span<const std::uint8_t> bytes) {
    if (::lseek(file.get(), 0, SEEK_SET) != 0) {
        fail(target);
    }
    write(bytes);
}

void OutputFile::commit() {
    if (!file.close()) {
        fail(target);
    }
    if (part.empty()) {
        return;
    }
    const unsigned flags = replacing ? 0 : RENAME_NOREPLACE; // somebody may have made one since
    int failed = ::renameat2(AT_FDCWD, part.c_str(), AT_FDCWD, target.c_str(), flags);
    if (failed != 0 && errno == EINVAL) { // a file system that cannot do without replacing
        failed = ::rename(part.c_str(), target.c_str());
    }
    if (failed != 0) {
        fail(target);
    }
    part.clear();
    cleanup.reset();
}

void OutputFile::fail(const fs::path& path) const {
    throw std::runtime_error(path.string() + ": " + std::strerror(errno));
}

} // namespace qorn::qornts
