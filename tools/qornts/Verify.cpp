#include "Verify.h"

#include "Progress.h"
#include "RecordReading.h"
#include "RecordScan.h"
#include "RecordingCompanionFile.h"
#include "TagWords.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace qorn::qornts {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostStretches = 8; // that are named one by one
constexpr const char* kGoesOn = "it is being recorded still";
// A file that has just been made is without lock and head for a moment.
constexpr std::chrono::seconds kNew{2};
constexpr int kBeginningTries = 40;
constexpr std::chrono::milliseconds kBeginningPause{5};

std::string place(std::uint64_t record, std::uint64_t headBytes) {
    return "record " + std::to_string(record) + " (byte " +
           std::to_string(headBytes + record * timing::kTagWordBytes) + ')';
}

// Goes through the records of one file beside what its companion says of them.
class Comparison {
public:
    Comparison(const fs::path& path, const StreamFileFacts& facts, const timing::RecordingCompanion& told)
        : file(facts), companion(told), reading(path, facts.head.size()),
          there(std::min(facts.wholeRecords(), told.records)), progress(facts.wholeRecords()) {
        expectTimes();
    }

    std::vector<std::string> run() {
        for (const timing::RecordCheckpoint& checkpoint : companion.checkpoints) {
            if (checkpoint.record >= there) {
                break;
            }
            if (checkpoint.record > 0) {
                scanTo(checkpoint.record);
                endStretch(checkpoint.crc);
            }
            begin = checkpoint.record;
            scanTo(checkpoint.record + 1);
            compareTime(checkpoint);
        }
        scanTo(there);
        if (there == companion.records) {
            endStretch(companion.tail_crc);
            compareTotals();
        }
        scanTo(file.wholeRecords());
        if (scan.bad_records() > 0) {
            faults.push_back(counted(scan.bad_records(), "word") + " of no tag, the first in the place of " +
                             place(*scan.first_bad_record(), file.head.size()));
        }
        if (damaged > kMostStretches) {
            const std::uint64_t more = damaged - kMostStretches;
            faults.push_back(std::to_string(more) + (more == 1 ? " more stretch" : " more stretches") +
                             " of records like " + (more == 1 ? "this" : "these"));
        }
        return std::move(faults);
    }

private:
    // Checkpoints and the last time are to follow from the records and silences. Behind silences that were
    // too many to tell they cannot, but then the records are to agree with them.
    void expectTimes() {
        timing::RecordTimeline& timeline = scan.timeline();
        if (companion.silences_untold > 0) {
            timeline.expect(companion);
            if (companion.last_time_ps) {
                timeline.expect(timing::RecordCheckpoint{companion.records - 1, *companion.last_time_ps, 0});
            }
            return;
        }
        if (!companion.checkpoints.empty()) {
            timeline.expect(companion.checkpoints.front());
        }
        for (const timing::RecordSilence& silence : companion.silences) {
            timeline.expect(silence);
        }
    }

    void scanTo(std::uint64_t record) {
        while (scan.records() < record) {
            scan.scan(reading.next(record - scan.records()));
            progress.show(scan.records());
        }
    }

    void endStretch(std::uint32_t expected) {
        if (scan.take_crc() != expected && ++damaged <= kMostStretches) {
            faults.push_back("records " + std::to_string(begin) + " to " +
                             std::to_string(scan.records() - 1) + " (bytes " +
                             std::to_string(file.head.size() + begin * timing::kTagWordBytes) + " to " +
                             std::to_string(file.head.size() + scan.records() * timing::kTagWordBytes - 1) +
                             ") are not those that were recorded: their CRC is another");
        }
    }

    // Times behind other records than were recorded tell nothing.
    void compareTime(const timing::RecordCheckpoint& checkpoint) {
        if (damaged == 0 && scan.last_time() != checkpoint.time_ps && !timeIsWrong) {
            timeIsWrong = true;
            faults.push_back(place(checkpoint.record, file.head.size()) + " is at " +
                             std::to_string(scan.last_time().value_or(0)) +
                             " ps by the file, but by the companion at " +
                             std::to_string(checkpoint.time_ps));
        }
    }

    void compareTotals() {
        for (std::size_t channel = 0; channel < companion.tags_of_channel.size(); ++channel) {
            const std::uint64_t counts = scan.tags_of_channel()[channel];
            if (const std::uint64_t told = companion.tags_of_channel[channel]; counts != told) {
                faults.push_back("channel " + std::to_string(channel + 1) + " has " + counted(counts, "tag") +
                                 ", but by the companion " + std::to_string(told));
            }
        }
        compareEnd("first", scan.first_time(), companion.first_time_ps);
        compareEnd("last", scan.last_time(), companion.last_time_ps);
    }

    void compareEnd(const char* which, std::optional<std::int64_t> found, std::optional<std::int64_t> told) {
        if (damaged == 0 && !timeIsWrong && found != told) {
            faults.push_back(std::string("the ") + which + " record is at " +
                             std::to_string(found.value_or(0)) + " ps by the file, but by the companion at " +
                             std::to_string(told.value_or(0)));
        }
    }

    const StreamFileFacts& file;
    const timing::RecordingCompanion& companion;
    RecordReading reading;
    std::uint64_t there; // records that the companion tells of and the file has
    Progress progress;
    timing::RecordScan scan;
    std::vector<std::string> faults;
    std::uint64_t begin = 0; // of the stretch
    std::uint64_t damaged = 0;
    bool timeIsWrong = false;
};

} // namespace

std::vector<std::string> faultsOfRecords(const fs::path& path, const StreamFileFacts& file,
                                         const timing::RecordingCompanion& companion) {
    return Comparison(path, file, companion).run();
}

namespace {

std::vector<std::string> faultsOfEnd(const StreamFileFacts& file, const timing::RecordingCompanion& companion,
                                     bool recording) {
    if (companion.end != timing::PartEnd::Open) {
        return {};
    }
    if (recording) {
        return {kGoesOn};
    }
    std::vector<std::string> faults{
        "it was never ended: its program died; \"qornts recover\" makes it whole"};
    if (const std::uint64_t there = file.wholeRecords(); there > companion.records) {
        faults.push_back(counted(there - companion.records, "record") + " from " +
                         place(companion.records, file.head.size()) +
                         " on came behind the companion's last refresh");
    }
    return faults;
}

std::string companionName(const fs::path& path) {
    return timing::companion_path(path).filename().string() + ' ';
}

bool isNew(const fs::path& path) {
    std::error_code failed;
    const auto written = fs::last_write_time(path, failed);
    return !failed && fs::file_time_type::clock::now() - written < kNew;
}

// What is seen of a pair that may be begun or ended at any moment.
struct Look {
    std::optional<timing::RecordingCompanion> companion;
    std::string noCompanion;             // else: why
    std::optional<StreamFileFacts> file; // none before its head is there
    bool recording = false;
};

std::optional<StreamFileFacts> factsOf(const fs::path& path) {
    for (int left = isNew(path) ? kBeginningTries : 0;; --left) {
        try {
            return streamFileFacts(path);
        } catch (const std::exception&) {
            if (isBeingRecorded(path)) {
                return std::nullopt;
            }
            if (left == 0) {
                throw;
            }
        }
        std::this_thread::sleep_for(kBeginningPause);
    }
}

// The companion before the file's facts, so that the file has what it tells of.
Look lookAt(const fs::path& path) {
    Look look;
    look.recording = isBeingRecorded(path);
    look.noCompanion = "there is no " + companionName(path) + "beside it";
    try {
        look.companion = timing::read_companion(path);
    } catch (const timing::CompanionFault& fault) {
        look.noCompanion = companionName(path) + fault.what();
    }
    look.file = factsOf(path);
    if (!look.companion || look.companion->end == timing::PartEnd::Open) { // it may have begun just now
        look.recording = look.recording || isBeingRecorded(path);
    }
    return look;
}

} // namespace

Verification verificationOf(const fs::path& path) {
    Look look = lookAt(path);
    if (!look.companion && !look.recording) { // perhaps it has begun and ended meanwhile
        look = lookAt(path);
    }
    const auto& companion = look.companion;
    if (!look.file || (look.recording && !companion)) { // or the companion cannot be written
        return {{kGoesOn}, {}};
    }
    const StreamFileFacts& file = *look.file;
    Verification found;
    const bool goesOn = look.recording && companion->end == timing::PartEnd::Open;
    if (file.oddBytes() > 0 && !goesOn) {
        found.faults.push_back("the last record, " + place(file.wholeRecords(), file.head.size()) +
                               ", is cut off");
    }
    if (!companion) {
        found.faults.push_back(look.noCompanion);
        return found;
    }
    if (const std::string why = misfit(*companion, file); !why.empty()) {
        found.faults.push_back(companionName(path) + why);
    }
    for (std::string& fault : faultsOfEnd(file, *companion, look.recording)) {
        found.faults.push_back(std::move(fault));
    }
    for (std::string& fault : faultsOfRecords(path, file, *companion)) {
        found.faults.push_back(std::move(fault));
    }
    found.reservations = reservations(*companion);
    return found;
}

bool verifyRecordings(const std::vector<fs::path>& files) {
    bool fine = true;
    for (const fs::path& path : files) {
        try {
            const Verification found = verificationOf(path);
            for (const std::string& fault : found.faults) {
                complain(path.string() + ": " + fault);
            }
            if (found.faults.empty()) {
                std::string line = printable(path.string()) + ": fine";
                for (const std::string& reservation : found.reservations) {
                    line += "; " + reservation;
                }
                print(line + '\n');
            }
            fine = fine && found.faults.empty();
        } catch (const std::exception& error) {
            complain(explanation(error));
            fine = false;
        }
    }
    return fine;
}

} // namespace qorn::qornts
