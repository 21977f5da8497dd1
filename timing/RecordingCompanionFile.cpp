#include "RecordingCompanionFile.h"

#include "FileBytes.h"
#include "FileDescriptor.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::timing {

namespace fs = std::filesystem;

namespace {

// What the next companion may be larger by, as far as there is room: full lists of checkpoints and losses,
// the text of an error, nothing.
constexpr std::array<std::size_t, 3> kGrowth{262144, 16384, 0};

fs::path part_path(const fs::path& streamFile) {
    fs::path part = companion_path(streamFile);
    part += ".part";
    return part;
}

// What is there already is room that was kept: it is not given up before it is written over.
FileDescriptor open_part(const fs::path& part) {
    return FileDescriptor(::open(part.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
}

void keep_room(const fs::path& part, std::size_t companionBytes) {
    const FileDescriptor file = open_part(part);
    if (!file.is_open()) {
        return;
    }
    for (const std::size_t growth : kGrowth) {
        if (::posix_fallocate(file.get(), 0, static_cast<off_t>(companionBytes + growth)) == 0 ||
            ::ftruncate(file.get(), 0) != 0) {
            return;
        }
    }
    ::unlink(part.c_str());
}

} // namespace

fs::path companion_path(const fs::path& streamFile) {
    fs::path path = streamFile;
    path += ".json";
    return path;
}

std::optional<std::string> write_companion(const fs::path& streamFile, const RecordingCompanion& companion,
                                           CompanionRoom room) {
    const std::string json = companion_to_json(companion);
    const fs::path path = companion_path(streamFile);
    const fs::path part = part_path(streamFile);
    FileDescriptor file = open_part(part);
    if (!file.is_open()) {
        return part.string() + ": " + std::strerror(errno);
    }
    const bool written =
        file.write({reinterpret_cast<const std::uint8_t*>(json.data()), json.size()}) == json.size() &&
        ::ftruncate(file.get(), static_cast<off_t>(json.size())) == 0 && ::fdatasync(file.get()) == 0;
    if (!written || !file.close() || ::rename(part.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        ::unlink(part.c_str());
        return path.string() + ": " + std::strerror(reason);
    }
    if (room == CompanionRoom::Keep) {
        keep_room(part, json.size());
    }
    return std::nullopt;
}

void give_back_companion_room(const fs::path& streamFile) {
    ::unlink(part_path(streamFile).c_str());
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
