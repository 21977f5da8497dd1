#include "CheckedRecording.h"

#include "RecordingCompanionFile.h"
#include "RecordingPartPath.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>

namespace qorn::timetagger::gui::test {
namespace {

using timing::PartEnd;
using timing::RecordingCompanion;

struct Part {
    Tags tags;
    RecordingCompanion companion;
};

Part partAt(const QString& path) {
    Part part{readRecording(path).tags, {}};
    const auto companion = timing::read_companion(path.toStdString());
    EXPECT_TRUE(companion.has_value()) << path.toStdString();
    part.companion = companion.value_or(RecordingCompanion{});
    return part;
}

void expectCounts(const Part& part) {
    EXPECT_EQ(part.companion.records, part.tags.size());
    for (std::size_t channel = 0; channel < timing::kChannels; ++channel) {
        EXPECT_EQ(
            part.companion.tags_of_channel[channel],
            static_cast<std::uint64_t>(std::ranges::count(part.tags, channel, &timing::TimeTag::channel)));
    }
}

void expectEnds(const std::vector<Part>& parts, const CaptureEnd& end) {
    for (std::size_t index = 0; index + 1 < parts.size(); ++index) {
        EXPECT_EQ(parts[index].companion.end, PartEnd::Rotation);
    }
    const RecordingCompanion& last = parts.back().companion;
    if (last.end == PartEnd::Error) { // the capture may have failed of two things, and told the first
        EXPECT_TRUE(last.error == end.failure || last.error.starts_with("StreamFileWriter: ")) << last.error;
        EXPECT_NE(end.failure, "");
        return;
    }
    EXPECT_EQ(last.error, "");
    if (last.end == PartEnd::Duration) {
        EXPECT_TRUE(end.hasMaximum);
    } else {
        EXPECT_EQ(last.end, PartEnd::Operator);
        EXPECT_EQ(end.failure, "");
    }
}

// What comes behind the maximum duration is in no recording, and so no loss of it.
void expectSum(std::uint64_t told, std::uint64_t least, std::uint64_t most, bool all) {
    EXPECT_GE(told, least);
    EXPECT_LE(told, most);
    EXPECT_TRUE(told == most || !all) << told << " of " << most;
}

void expectSums(const std::vector<Part>& parts, const CaptureEnd& end) {
    std::uint64_t lost = 0;
    std::uint64_t unreadable = 0;
    for (const Part& part : parts) {
        lost += part.companion.lost();
        unreadable += part.companion.unreadable_bytes();
    }
    const UiTagFlow& flow = end.flow;
    expectSum(lost, flow.recording.cut, flow.recording.cut + flow.source.dropped, !end.hasMaximum);
    expectSum(unreadable, 0, flow.source.skippedBytes, !end.hasMaximum);
}

// How many tags of `all` are missing ahead of each of `recorded`.
std::vector<std::uint64_t> missingAhead(const Tags& recorded, const Tags& all) {
    std::vector<std::uint64_t> missing;
    std::size_t at = 0;
    for (const timing::TimeTag& tag : recorded) {
        while (at < all.size() && !(all[at] == tag)) {
            ++at;
        }
        missing.push_back(at - missing.size());
        ++at;
    }
    return missing;
}

// So many tags in all are missing ahead of this record, and fewer ahead of the one before.
void expectPlace(const std::vector<std::uint64_t>& missing, std::size_t record, std::uint64_t told) {
    EXPECT_TRUE(record >= missing.size() || missing[record] == told)
        << told << " tags told as lost ahead of record " << record << " but " << missing[record];
    EXPECT_TRUE(record == 0 || record > missing.size() || missing[record - 1] < told)
        << told << " tags were lost ahead of record " << record - 1 << " already";
}

void expectPlaces(const std::vector<Part>& parts, const std::vector<std::uint64_t>& missing) {
    std::size_t before = 0; // records of the parts before
    std::uint64_t told = 0;
    for (const Part& part : parts) {
        for (const timing::RecordingLoss& loss : part.companion.losses) {
            if (loss.stage == "reader") {
                told += loss.count;
                expectPlace(missing, before + loss.record, told);
            }
        }
        before += part.companion.records;
    }
}

} // namespace

std::vector<QString> partsOf(const QString& path) {
    std::vector<QString> parts;
    for (QString part = path; QFile::exists(part);
         part = recordingPartPath(path, static_cast<int>(parts.size()))) {
        parts.push_back(part);
    }
    return parts;
}

void removeRecording(const QString& path) {
    for (const QString& part : partsOf(path)) {
        QFile::remove(part);
        QFile::remove(part + QStringLiteral(".json"));
    }
}

Tags checkedRecording(const QString& path, const CaptureEnd& end) {
    std::vector<Part> parts;
    Tags recorded;
    for (const QString& file : partsOf(path)) {
        parts.push_back(partAt(file));
        expectCounts(parts.back());
        recorded.insert(recorded.end(), parts.back().tags.begin(), parts.back().tags.end());
    }
    EXPECT_FALSE(parts.empty());
    if (parts.empty()) {
        return {};
    }
    expectEnds(parts, end);
    expectSums(parts, end);
    expectPlaces(parts, missingAhead(recorded, end.tags));
    return recorded;
}

} // namespace qorn::timetagger::gui::test
