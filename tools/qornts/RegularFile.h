// Opens files that are named on the command line, which may be anything.
#pragma once

#include "FileDescriptor.h"

#include <filesystem>

namespace qorn::qornts {

// Opened with these flags of open(2). A pipe holds up nobody: what is no regular file is refused. Failures
// are std::runtime_error with a text that names the file.
timing::FileDescriptor openRegularFile(const std::filesystem::path& path, int flags);

// Throws std::runtime_error: the file and what errno, or `reason`, says.
[[noreturn]] void failAt(const std::filesystem::path& path);
[[noreturn]] void failAt(const std::filesystem::path& path, int reason);

} // namespace qorn::qornts
