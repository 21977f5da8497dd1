// Makes the companion of a stream file from the records as they reach the file. Memory and the size of the
// companion are bounded however long that takes: the checkpoints keep a regular spacing in records, which
// doubles when there are too many. A plain single-threaded object, one per file.
#pragma once

#include "RecordScan.h"
#include "RecordingCompanion.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace qorn::timing {

class RecordingTally {
public:
    // For a file that begins with `head`: magic, length and header.
    explicit RecordingTally(std::span<const std::uint8_t> head);

    // The true time of a record that is still to come, in ascending order. See RecordTimes.
    void expect(const RecordTime& time) { scan.timeline().expect(time); }
    // What an earlier companion of the file tells of records that are still to come.
    void expect(const RecordingCompanion& companion) { scan.timeline().expect(companion); }

    // Whole records that follow in the file.
    void add(std::span<const std::uint8_t> words);

    // Tags were lost ahead of the record `loss.record`. Beyond the most that are kept, neighbours of a stage
    // are added up and stand where the first of them stood.
    void add(RecordingLoss loss);

    std::uint64_t records() const { return scan.records(); }
    const RecordScan& scanned() const { return scan; }

    // What is to be said so far, for a part that ended so.
    RecordingCompanion companion(PartEnd end, std::string_view error = {}) const;

private:
    void addCheckpoint(std::span<const std::uint8_t> word);
    void scanOn(std::span<const std::uint8_t> words);
    void thinCheckpoints();

    RecordScan scan;
    RecordingCompanion facts; // but for what the scan counts
    std::vector<RecordSilence> found;
};

// The losses with neighbours of the same stage added up, so that there are at most half as many per stage.
void thin_losses(std::vector<RecordingLoss>& losses);

} // namespace qorn::timing
