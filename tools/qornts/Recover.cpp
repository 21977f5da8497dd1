#include "Recover.h"

#include "Companions.h"
#include "FileDescriptor.h"
#include "Progress.h"
#include "RecordReading.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "TagWords.h"
#include "Text.h"
#include "Verify.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace qorn::qornts {
namespace {

namespace fs = std::filesystem;

fs::path withSuffix(fs::path path, const char* suffix) {
    path += suffix;
    return path;
}

[[noreturn]] void fail(const fs::path& path) {
    throw std::runtime_error(path.string() + ": " + std::strerror(errno));
}

timing::FileDescriptor openLocked(const fs::path& path) {
    timing::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file.is_open()) {
        fail(path);
    }
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw std::runtime_error(path.string() + ": is being recorded, or recovered, just now");
    }
    return file;
}

void requireFree(const fs::path& path) {
    if (fs::exists(fs::symlink_status(path))) {
        throw std::runtime_error(path.string() + ": there is such a file already; move it away first");
    }
}

// The last companion, when there is one that can be used.
std::optional<timing::RecordingCompanion> lastCompanion(const fs::path& path) {
    const fs::path companion = timing::companion_path(path);
    try {
        auto found = timing::read_companion(path);
        if (!found) {
            warn(path.string() + ": has no companion: its times are those of the records alone");
        }
        return found;
    } catch (const timing::CompanionFault& fault) {
        const fs::path old = withSuffix(companion, ".old");
        requireFree(old);
        warn(companion.string() + ' ' + fault.what() + ": its times are those of the records alone");
        if (::rename(companion.c_str(), old.c_str()) != 0) {
            fail(companion);
        }
        return std::nullopt;
    }
}

timing::RecordingTally tallyOf(const fs::path& path, const StreamFileFacts& file,
                               const std::optional<timing::RecordingCompanion>& last) {
    timing::RecordingTally tally(file.head);
    if (last) {
        tally.expect(*last);
        for (const timing::RecordingLoss& loss : last->losses) {
            tally.add(loss);
        }
    }
    RecordReading reading(path, file.head.size());
    Progress progress(file.wholeRecords());
    while (tally.records() < file.wholeRecords()) {
        tally.add(reading.next(file.wholeRecords() - tally.records()));
        progress.show(tally.records());
    }
    return tally;
}

// Puts the bytes behind the last whole record into a file of their own.
void cutOff(const timing::FileDescriptor& stream, const fs::path& path, const StreamFileFacts& file) {
    const fs::path kept = withSuffix(path, ".cut");
    const auto wholeBytes =
        static_cast<off_t>(file.head.size() + file.wholeRecords() * timing::kTagWordBytes);
    std::vector<std::uint8_t> bytes(file.oddBytes());
    timing::FileDescriptor copy(::open(kept.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!copy.is_open()) {
        fail(kept);
    }
    if (::pread(stream.get(), bytes.data(), bytes.size(), wholeBytes) != static_cast<ssize_t>(bytes.size()) ||
        copy.write(bytes) != bytes.size() || ::fsync(copy.get()) != 0 || !copy.close()) {
        fail(kept);
    }
    if (::ftruncate(stream.get(), wholeBytes) != 0) {
        fail(path);
    }
    warn(path.string() + ": the last record was cut off: its " + counted(bytes.size(), "byte") + " now in " +
         kept.string());
}

// What speaks against making the file whole as it is.
std::vector<std::string> objections(const fs::path& path, const StreamFileFacts& file,
                                    const std::optional<timing::RecordingCompanion>& last,
                                    const timing::RecordScan& scanned) {
    if (last) {
        return faultsOfRecords(path, file, *last);
    }
    if (scanned.bad_records() == 0) {
        return {};
    }
    return {counted(scanned.bad_records(), "word") + " of no tag, the first in the place of record " +
            std::to_string(*scanned.first_bad_record())};
}

} // namespace

bool recoverRecording(const fs::path& path) {
    const StreamFileFacts file = streamFileFacts(path);
    const timing::FileDescriptor stream = openLocked(path);
    if (file.oddBytes() > 0) {
        requireFree(withSuffix(path, ".cut"));
    }
    const auto last = lastCompanion(path);
    if (last && last->end != timing::PartEnd::Open && file.oddBytes() == 0 && misfit(*last, file).empty()) {
        print(printable(path.string()) + ": has its end and its companion; nothing to do\n");
        return true;
    }
    if (last && !isOfFile(*last, file)) {
        complain(timing::companion_path(path).string() + " is of another file: its header is another");
        return false;
    }
    const timing::RecordingTally tally = tallyOf(path, file, last);
    const std::vector<std::string> damage = objections(path, file, last, tally.scanned());
    for (const std::string& fault : damage) {
        complain(path.string() + ": " + fault);
    }
    if (!damage.empty()) {
        complain(path.string() + ": left as it is");
        return false;
    }
    if (file.oddBytes() > 0) {
        cutOff(stream, path, file);
    }
    if (const auto wrong = timing::write_companion(path, tally.companion(timing::PartEnd::Recovered))) {
        throw std::runtime_error(*wrong);
    }
    print(printable(path.string()) + ": recovered, " + counted(tally.records(), "record") + '\n');
    return true;
}

} // namespace qorn::qornts
