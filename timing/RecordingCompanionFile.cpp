#include "RecordingCompanionFile.h"

#include "FileBytes.h"
#include "FileDescriptor.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::timing {

namespace fs = std::filesystem;

fs::path companion_path(const fs::path& streamFile) {
    fs::path path = streamFile;
    path += ".json";
    return path;
}

std::optional<std::string> write_companion(const fs::path& streamFile, const RecordingCompanion& companion) {
    const std::string json = companion_to_json(companion);
    const fs::path path = companion_path(streamFile);
    fs::path part = path;
    part += ".part";
    FileDescriptor file(::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!file.is_open()) {
        return part.string() + ": " + std::strerror(errno);
    }
    const bool written =
        file.write({reinterpret_cast<const std::uint8_t*>(json.data()), json.size()}) == json.size();
    if (!written || !file.close() || ::rename(part.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        ::unlink(part.c_str());
        return path.string() + ": " + std::strerror(reason);
    }
    return std::nullopt;
}

std::optional<RecordingCompanion> read_companion(const fs::path& streamFile) {
    const fs::path path = companion_path(streamFile);
    std::error_code none;
    const fs::file_status status = fs::status(path, none);
    if (!fs::exists(status)) {
        return std::nullopt;
    }
    if (!fs::is_regular_file(status)) { // a pipe would hold up its reader
        throw CompanionFault("is not a regular file");
    }
    if (const std::uintmax_t size = fs::file_size(path, none); !none && size > kMostCompanionBytes) {
        throw CompanionFault("is too large");
    }
    const auto bytes = read_file_bytes(path, kMostCompanionBytes);
    if (!bytes) {
        throw CompanionFault("cannot be read");
    }
    return companion_from_json({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
}

} // namespace qorn::timing
