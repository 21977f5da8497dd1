// Owner of one open file of the system, for files that are written or read in large pieces.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

namespace qorn::timing {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : fd(descriptor) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }

    bool is_open() const { return fd >= 0; }
    int get() const { return fd; }

    // Closes it when it is open. False when the system says that bytes written before are lost; errno tells.
    bool close();

    // Writes all bytes; returns how many went out, which are fewer only after a failure that errno tells.
    std::size_t write(std::span<const std::uint8_t> bytes) const;

    // Reads up to the size of `bytes`, less only at the end of the file; -1 after a failure that errno tells.
    std::ptrdiff_t read(std::span<std::uint8_t> bytes) const;

private:
    int fd = -1;
};

} // namespace qorn::timing
