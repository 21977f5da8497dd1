// A file that appears when it is complete, or not at all: it is written beside its place and moved there.
#pragma once

#include "FileDescriptor.h"
#include "InterruptCleanup.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

namespace qorn::qornts {

// Failures are std::runtime_error with a text that names the file.
class OutputFile {
public:
    // Begins "<path>.part". Refuses a path where there is something already, unless `replace` is set and it
    // is a file.
    OutputFile(std::filesystem::path path, bool replace);
    ~OutputFile(); // removes the part unless it was committed
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // The standard output, which appears at once.
    OutputFile();

    void write(std::span<const std::uint8_t> bytes);
    void rewriteFront(std::span<const std::uint8_t> bytes); // no standard output
    void commit();

private:
    [[noreturn]] void fail(const std::filesystem::path& path) const;

    std::filesystem::path target;
    std::filesystem::path part; // empty when there is none
    bool replacing = false;
    timing::FileDescriptor file;
    std::optional<InterruptCleanup> cleanup;
};

} // namespace qorn::qornts
