#include "Recover.h"

#include "Companions.h"
#include "FileDescriptor.h"
#include "Progress.h"
#include "RecordReading.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "RegularFile.h"
#include "Remains.h"
#include "TagWords.h"
#include "Text.h"
#include "Verify.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::qornts {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFileStage = "file"; // of records that the file had once

fs::path withSuffix(fs::path path, const char* suffix) {
    path += suffix;
    return path;
}

fs::path cutPath(const fs::path& path) {
    return withSuffix(path, ".cut");
}

fs::path oldPath(const fs::path& path) {
    return withSuffix(timing::companion_path(path), ".old");
}

void requireFree(const fs::path& path) {
    if (fs::exists(fs::symlink_status(path))) {
        throw std::runtime_error(path.string() + ": there is such a file already; move it away first");
    }
}

void warnOf(const fs::path& path, const Remains& remains) {
    constexpr const char* kAlone = ": its times are those of the records alone";
    if (!remains.broken.empty()) {
        warn(timing::companion_path(path).string() + ' ' + remains.broken + kAlone);
    } else if (!remains.last) {
        warn(path.string() + ": has no companion" + kAlone);
    } else if (const std::uint64_t missing = remains.missingRecords(); missing > 0) {
        warn(path.string() + ": " + counted(missing, "record") +
             " that the companion tells of, from record " + std::to_string(remains.file.wholeRecords()) +
             " on, are not in the file: they count as lost");
    }
}

timing::RecordingTally tallyOf(const fs::path& path, const Remains& remains) {
    const StreamFileFacts& file = remains.file;
    timing::RecordingTally tally(file.head);
    if (const auto& last = remains.last) {
        tally.expect(*last);
        if (last->silences_untold > 0 && last->last_time_ps) { // the latest place where the time is known
            tally.expect(timing::RecordTime{last->records - 1, *last->last_time_ps});
        }
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
    if (const std::uint64_t missing = remains.missingRecords(); missing > 0) {
        tally.add(timing::RecordingLoss{tally.records(), tally.scanned().last_time(), kFileStage, missing});
    }
    return tally;
}

// Why the part ended stays as it was told.
timing::RecordingCompanion companionOf(const timing::RecordingTally& tally, const Remains& remains) {
    const auto& last = remains.last;
    const bool open = !last || last->end == timing::PartEnd::Open;
    timing::RecordingCompanion made =
        tally.companion(open ? timing::PartEnd::Recovered : last->end, last ? last->error : std::string());
    if (last) { // the tally finds such silences only at checkpoints
        made.silences_untold = last->silences_untold;
    }
    if (remains.firstUnvouched() < made.records) {
        made.unvouched_from = remains.firstUnvouched();
    }
    return made;
}

void writeCut(const timing::FileDescriptor& stream, const fs::path& kept, std::span<std::uint8_t> bytes,
              off_t from) {
    timing::FileDescriptor copy(::open(kept.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!copy.is_open()) {
        failAt(kept);
    }
    const ssize_t count = ::pread(stream.get(), bytes.data(), bytes.size(), from);
    const bool whole = count == static_cast<ssize_t>(bytes.size());
    if (!whole || copy.write(bytes) != bytes.size() || ::fsync(copy.get()) != 0 || !copy.close()) {
        const int reason = whole || count < 0 ? errno : EIO; // EIO: there are fewer bytes than a moment ago
        ::unlink(kept.c_str());
        failAt(kept, reason);
    }
}

// Puts a part of a record behind the whole ones into a file of its own, and leaves the records alone.
void cutOff(const timing::FileDescriptor& stream, const fs::path& path, const Remains& remains) {
    const fs::path kept = cutPath(path);
    if (remains.oddBytes > 0) {
        std::vector<std::uint8_t> bytes(remains.oddBytes);
        writeCut(stream, kept, bytes,
                 static_cast<off_t>(remains.end() + remains.zeroWords * timing::kTagWordBytes));
    }
    if (::ftruncate(stream.get(), static_cast<off_t>(remains.end())) != 0) {
        const int reason = errno;
        if (remains.oddBytes > 0) {
            ::unlink(kept.c_str());
        }
        failAt(path, reason);
    }
    if (remains.oddBytes > 0) {
        warn(path.string() + ": the last record was cut off: its " + counted(remains.oddBytes, "byte") +
             " now in " + kept.string());
    }
    if (remains.zeroWords > 0) {
        warn(path.string() + ": cut off behind record " + std::to_string(remains.file.wholeRecords()) + ": " +
             counted(remains.zeroWords, "word") +
             " of zeros, such as a crash of the machine leaves at the end of a file");
    }
}

// What speaks against making the file whole as it is.
std::vector<std::string> objections(const fs::path& path, const Remains& remains,
                                    const timing::RecordScan& scanned) {
    if (remains.last) {
        return faultsOfRecords(path, remains.file, *remains.last);
    }
    if (scanned.bad_records() == 0) {
        return {};
    }
    return {counted(scanned.bad_records(), "word") + " of no tag, the first in the place of record " +
            std::to_string(*scanned.first_bad_record())};
}

// The earlier companion is in its place again when the new one cannot be written.
void replaceCompanion(const fs::path& path, const timing::RecordingCompanion& made, bool keepLast) {
    const fs::path companion = timing::companion_path(path);
    const fs::path old = oldPath(path);
    if (keepLast && ::rename(companion.c_str(), old.c_str()) != 0) {
        failAt(companion);
    }
    if (const auto wrong = timing::write_companion(path, made)) {
        if (keepLast) {
            ::rename(old.c_str(), companion.c_str());
        }
        throw std::runtime_error(*wrong);
    }
    if (keepLast) {
        warn(path.string() + ": its earlier companion is now " + old.string());
    }
}

// False, with complaints, when something speaks against it.
bool makeWhole(const fs::path& path, const timing::FileDescriptor& stream, const Remains& remains) {
    warnOf(path, remains);
    const timing::RecordingTally tally = tallyOf(path, remains);
    const std::vector<std::string> damage = objections(path, remains, tally.scanned());
    for (const std::string& fault : damage) {
        complain(path.string() + ": " + fault);
    }
    if (!damage.empty()) {
        complain(path.string() + ": left as it is");
        return false;
    }
    if (remains.zeroWords + remains.oddBytes > 0) {
        cutOff(stream, path, remains);
    }
    const timing::RecordingCompanion made = companionOf(tally, remains);
    replaceCompanion(path, made, remains.keepsLast());
    std::string done = printable(path.string()) + ": recovered, " + counted(made.records, "record");
    for (const std::string& reservation : reservations(made)) {
        done += "; " + reservation;
    }
    print(done + '\n');
    return true;
}

} // namespace

bool recoverRecording(const fs::path& path) {
    const timing::FileDescriptor stream = openRegularFile(path, O_RDWR);
    lockForRecovery(stream.get(), path);
    const Remains remains = remainsOf(path);
    if (remains.last && !isOfFile(*remains.last, remains.file)) {
        complain(timing::companion_path(path).string() + " is of another file: its header is another");
        return false;
    }
    if (remains.oddBytes > 0) {
        requireFree(cutPath(path));
    }
    if (remains.keepsLast()) {
        requireFree(oldPath(path));
    }
    if (remains.isWhole()) {
        print(printable(path.string()) + ": has its end and its companion; nothing to do\n");
        return true;
    }
    return makeWhole(path, stream, remains);
}

} // namespace qorn::qornts
