#include "Companions.h"

#include "Crc32.h"
#include "Error.h"
#include "RecordingCompanionFile.h"
#include "RegularFile.h"
#include "StreamFileReader.h"
#include "TagWords.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>

namespace qorn::qornts {

namespace fs = std::filesystem;

std::uint64_t StreamFileFacts::wholeRecords() const {
    return payloadBytes / timing::kTagWordBytes;
}

std::uint64_t StreamFileFacts::oddBytes() const {
    return payloadBytes % timing::kTagWordBytes;
}

StreamFileFacts streamFileFacts(const fs::path& path) {
    timing::StreamFileReader reader;
    reader.open(path);
    if (!reader.has_tag_words()) {
        throw std::runtime_error(path.string() +
                                 ": no recording of raw64 \"ps\" records, which alone have companions");
    }
    StreamFileFacts facts{{}, reader.header(), reader.payload_bytes()};
    facts.head.resize(reader.head_bytes());
    const std::ptrdiff_t count = openRegularFile(path, O_RDONLY).read(facts.head);
    if (count < 0) {
        failAt(path);
    }
    if (count != static_cast<std::ptrdiff_t>(facts.head.size())) {
        throw std::runtime_error(path.string() + ": became shorter while it was read");
    }
    return facts;
}

bool isBeingRecorded(const fs::path& path) {
    const timing::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file.is_open() && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

void lockForRecovery(int descriptor, const fs::path& path) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        return;
    }
    if (errno == EWOULDBLOCK) {
        throw std::runtime_error(path.string() + ": is being recorded, or recovered, just now");
    }
    throw std::runtime_error(path.string() + ": whether it is being recorded cannot be told here (" +
                             std::strerror(errno) + "): recover a copy of the pair on another disk");
}

bool isOfFile(const timing::RecordingCompanion& companion, const StreamFileFacts& file) {
    return companion.head_bytes == file.head.size() && companion.head_crc == timing::crc32_of(file.head);
}

std::string misfit(const timing::RecordingCompanion& companion, const StreamFileFacts& file) {
    if (!isOfFile(companion, file)) {
        return "is of another file: its header is another";
    }
    const std::uint64_t there = file.wholeRecords();
    if (companion.records > there) {
        return "tells of " + counted(companion.records, "record") + ", but the file has " +
               std::to_string(there);
    }
    if (companion.records < there && companion.end != timing::PartEnd::Open) {
        return "tells of an end behind " + counted(companion.records, "record") + ", but the file has " +
               std::to_string(there);
    }
    return {};
}

namespace {

std::string untoldSilences(const timing::RecordingCompanion& companion) {
    const std::uint64_t last = companion.silences.empty() ? 0 : companion.silences.back().record;
    return "behind record " + std::to_string(last) +
           " times are not known to the wrap: multiples of 14.3 s may be missing, for " +
           counted(companion.silences_untold, "silence") + " more were than could be told";
}

std::string unreadable(const timing::RecordingCompanion& companion) {
    const auto first =
        std::find_if(companion.losses.begin(), companion.losses.end(), [](const timing::RecordingLoss& loss) {
            return loss.stage == timing::kUnreadableStage;
        });
    return counted(companion.unreadable_bytes(), "byte") +
           " of the stream held no tag, the first near record " + std::to_string(first->record) +
           ": tags of theirs are missing, and tags near them may be wrong";
}

std::string unvouched(const timing::RecordingCompanion& companion) {
    const std::uint64_t from = *companion.unvouched_from;
    return counted(companion.records - from, "record") + " from record " + std::to_string(from) +
           " on came from a recovery: nothing vouches for them, and silences among them may be too short by "
           "multiples of 14.3 s";
}

} // namespace

std::vector<std::string> doubts(const timing::RecordingCompanion& companion) {
    std::vector<std::string> all;
    if (companion.silences_untold > 0) {
        all.push_back(untoldSilences(companion));
    }
    if (companion.unreadable_bytes() > 0) {
        all.push_back(unreadable(companion));
    }
    if (companion.unvouched_from.value_or(companion.records) < companion.records) {
        all.push_back(unvouched(companion));
    }
    return all;
}

std::vector<std::string> reservations(const timing::RecordingCompanion& companion) {
    std::vector<std::string> all;
    if (const std::uint64_t lost = companion.lost(); lost > 0) {
        all.push_back(counted(lost, "tag") + (lost == 1 ? " was lost" : " were lost"));
    }
    const std::vector<std::string> doubtful = doubts(companion);
    all.insert(all.end(), doubtful.begin(), doubtful.end());
    return all;
}

CompanionSearch findCompanion(const fs::path& path) {
    const std::string named = timing::companion_path(path).string() + ' ';
    try {
        CompanionSearch found{timing::read_companion(path), {}};
        if (!found.companion) {
            return found;
        }
        if (const std::string why = misfit(*found.companion, streamFileFacts(path)); !why.empty()) {
            return {std::nullopt, named + why};
        }
        return found;
    } catch (const timing::CompanionFault& fault) {
        return {std::nullopt, named + fault.what()};
    }
}

std::string counted(std::uint64_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

} // namespace qorn::qornts
