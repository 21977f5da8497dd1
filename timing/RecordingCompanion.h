// What the companion file of a recording says of it. The companion of NAME.qornts is NAME.qornts.json; see
// RecordingCompanionFile.h for the file and RecordingTally.h for how it comes about. Plain data.
#pragma once

#include "TimeTag.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qorn::timing {

// Why a part ended. Open: it is being written, or its program died.
enum class PartEnd { Open, Operator, Duration, Rotation, Error, Recovered };

// "open", "operator", "duration", "rotation", "error", "recovered".
const char* part_end_name(PartEnd end);
std::optional<PartEnd> part_end_of(std::string_view name);

// A record's true time, and the CRC-32 of the records from the checkpoint before up to this record, which is
// not among them.
struct RecordCheckpoint {
    std::uint64_t record = 0;
    std::int64_t time_ps = 0;
    std::uint32_t crc = 0;
    bool operator==(const RecordCheckpoint&) const = default;
};

// At this record so many periods of the counter went by unseen; fewer than none when the time stepped back.
struct RecordSilence {
    std::uint64_t record = 0;
    std::int64_t periods = 0;
    bool operator==(const RecordSilence&) const = default;
};

// Of bytes of the stream in which no tag was found: `count` tells the bytes, and they stood near that record.
inline constexpr std::string_view kUnreadableStage = "unreadable";

// Tags that were lost ahead of this record, in the stage of that name, behind a tag of this time.
struct RecordingLoss {
    std::uint64_t record = 0;
    std::optional<std::int64_t> time_ps;
    std::string stage;
    std::uint64_t count = 0;
    bool operator==(const RecordingLoss&) const = default;
};

struct RecordingCompanion {
    static constexpr std::size_t kMostCheckpoints = 4096;
    static constexpr std::size_t kMostSilences = 262144;
    static constexpr std::size_t kMostLosses = 1024;
    static constexpr std::uint64_t kFirstSpacing = 65536;
    static constexpr std::size_t kMostErrorBytes = 4096;
    static constexpr std::size_t kMostStageBytes = 64;

    PartEnd end = PartEnd::Open;
    std::string error;            // of PartEnd::Error
    std::uint64_t head_bytes = 0; // of the stream file: magic, length and header
    std::uint32_t head_crc = 0;
    std::uint64_t records = 0;
    std::array<std::uint64_t, kChannels> tags_of_channel{};
    std::optional<std::int64_t> first_time_ps; // of the first and the last record; none without records
    std::optional<std::int64_t> last_time_ps;
    std::uint64_t spacing = kFirstSpacing;     // of the checkpoints, in records
    std::vector<RecordCheckpoint> checkpoints; // ascending, from record 0
    std::uint32_t tail_crc = 0;                // of the records from the last checkpoint on
    std::vector<RecordSilence> silences;       // ascending
    std::uint64_t silences_untold = 0;         // behind kMostSilences: times hold from the next checkpoint on
    std::vector<RecordingLoss> losses;         // in order
    // The first record that a recovery found in the file and of which no companion had told: from it on
    // nothing shows whether bytes are those that were recorded, nor how long inputs were silent.
    std::optional<std::uint64_t> unvouched_from;

    std::uint64_t lost() const;             // tags, of all stages but the unreadable
    std::uint64_t unreadable_bytes() const; // of the stream
    bool operator==(const RecordingCompanion&) const = default;
};

} // namespace qorn::timing
