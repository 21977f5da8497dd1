#include "RecordingParts.h"

#include "Companions.h"
#include "RecordingCompanionFile.h"
#include "StreamTimeAxis.h"
#include "WideInteger.h"

#include <map>
#include <optional>
#include <utility>

#include <sys/stat.h>

namespace qorn::qornts {

RecordingParts::RecordingParts(std::vector<std::filesystem::path> parts) : files(std::move(parts)) {
    timing::StreamFileReader check;
    for (std::size_t index = 0; index < files.size(); ++index) {
        const std::string earlier = check.header().created_utc;
        check.open(files[index]);
        total += check.payload_bytes();
        if (index == 0) {
            first = check.header();
        } else if (check.header().created_utc < earlier) {
            partWarnings.push_back(files[index].string() + " was created before " +
                                   files[index - 1].string() + ": are the parts in order?");
        }
    }
    warnOfSameFiles();
    if (check.has_tag_words()) {
        findCompanions();
        warnOfTimes();
    }
}

void RecordingParts::warnOfSameFiles() {
    std::map<std::pair<dev_t, ino_t>, std::string> seen;
    for (const std::filesystem::path& file : files) {
        struct stat status {};
        if (::stat(file.c_str(), &status) != 0) {
            continue; // gone since: its reading will tell
        }
        const auto [place, isNew] = seen.emplace(std::pair(status.st_dev, status.st_ino), file.string());
        if (!isNew) {
            partWarnings.push_back(file.string() + " is the same file as " + place->second +
                                   ": its tags are there twice");
        }
    }
}

void RecordingParts::warnOfTimes() {
    std::optional<std::size_t> earlier; // the last part with records
    for (std::size_t index = 0; index < partCompanions.size(); ++index) {
        const timing::RecordingCompanion& companion = partCompanions[index];
        for (const std::string& doubt : doubts(companion)) {
            partWarnings.push_back(files[index].string() + ": " + doubt);
        }
        if (!companion.first_time_ps) {
            continue;
        }
        // Tags of different inputs may overtake each other by less than that.
        if (earlier && timing::Wide{*companion.first_time_ps} + timing::StreamTimeAxis::kDoubtfulStepPs <
                           *partCompanions[*earlier].last_time_ps) {
            partWarnings.push_back(files[index].string() + " begins before the end of " +
                                   files[*earlier].string() + ": are the parts in order?");
        }
        earlier = index;
    }
}

// Times of one part that are absolute do not go with times of another that are not.
void RecordingParts::findCompanions() {
    std::vector<std::string> without;
    for (const std::filesystem::path& file : files) {
        CompanionSearch search = findCompanion(file);
        if (search.companion) {
            partCompanions.push_back(std::move(*search.companion));
        } else if (!search.fault.empty()) {
            partWarnings.push_back(search.fault + ": going on without companions");
        } else {
            without.push_back(file.string() + " has no companion: going on without those of other parts");
        }
    }
    if (partCompanions.size() < files.size()) {
        if (!partCompanions.empty()) {
            partWarnings.insert(partWarnings.end(), without.begin(), without.end());
        }
        partCompanions.clear();
    }
}

void RecordingParts::endPart() {
    if (reader.times_misfit()) {
        partWarnings.push_back(
            timing::companion_path(files[opened - 1]).string() +
            " does not agree with the records: from there on times are by the records alone");
    }
}

std::span<const timing::TimeTag> RecordingParts::read() {
    for (;;) {
        if (opened > 0) {
            if (const auto tags = reader.read(); !tags.empty()) {
                return tags;
            }
            if (!std::exchange(partEnded, true)) {
                endPart();
            }
        }
        if (opened == files.size()) {
            return {};
        }
        before += reader.bytes_read();
        reader.open(files[opened++]);
        partEnded = false;
        if (!partCompanions.empty()) {
            reader.use_times(partCompanions[opened - 1]);
        }
    }
}

std::vector<std::string> RecordingParts::warnings() const {
    std::vector<std::string> all = partWarnings;
    if (const std::uint64_t gaps = reader.doubtful_gaps(); gaps > 0) {
        all.push_back("the whole stream was silent for long, or stepped back, at " + std::to_string(gaps) +
                      (gaps == 1 ? " place" : " places") +
                      ": times after it may be wrong by a multiple of 14.3 s");
    }
    if (const std::uint64_t skipped = reader.skipped_bytes(); skipped > 0) {
        all.push_back(std::to_string(skipped) + (skipped == 1 ? " byte was" : " bytes were") +
                      " no records and skipped");
    }
    return all;
}

} // namespace qorn::qornts
