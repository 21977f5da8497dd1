// Keeps the companion files of a recording's parts: counts what reaches the stream file, looks whether that
// is still in its place, and writes the companion at a part's begin and end and in between. Owned by the
// recording's writer, used on its thread.
#pragma once

#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "StreamFileWriter.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace qorn::timetagger::gui {

class CompanionKeeper {
public:
    // Follows what `writer` writes from now on; the writer must not write when the keeper has gone.
    explicit CompanionKeeper(timing::StreamFileWriter& writer);
    CompanionKeeper(const CompanionKeeper&) = delete;
    CompanionKeeper& operator=(const CompanionKeeper&) = delete;

    // The writer has opened this file. A file that is none of a file system, such as a pipe, has no
    // companion.
    void begin(const std::filesystem::path& streamFile);

    // The true times of records behind those that are appended so far, counted from 0.
    void expect(const std::vector<timing::RecordTime>& times);

    // Tags were lost behind those that are appended so far. Nothing when no part is open.
    void add(timing::RecordingLoss loss);

    // Looks whether the path of the open file still leads to it; if not, companion and notice tell of it.
    void checkFile();

    // Looks after the file, and writes the companion when it has something new to say.
    void refresh();

    // Writes the companion of the open part for the last time, unless fail() follows.
    void end(timing::PartEnd reason, std::string_view error = {});

    // The recording ends with this text, in the latest part; `lostTags` in all were on their way to the file
    // and are in none, and `losses` were not added before. May be called again with more of both.
    void fail(std::string_view error, std::uint64_t lostTags, std::vector<timing::RecordingLoss> losses = {});

    // Nothing more will be written: gives back the room that the disk keeps for it.
    void finish();

    // Records that the system has taken, in all files. Any thread.
    std::uint64_t recordsTaken() const { return taken; }

    // For the operator: once per part that the file is not in its place, and the first failure to write a
    // companion; of the parts that follow only when there was one without such a failure.
    std::optional<QString> takeNotice();

private:
    void write(timing::PartEnd reason, std::string_view error, timing::CompanionRoom room);

    timing::StreamFileWriter& file;
    std::atomic<std::uint64_t> taken{0};
    std::filesystem::path path;
    std::optional<timing::RecordingTally> tally; // of the latest part
    bool open = false;                           // that part
    bool changed = false;
    bool failed = false;        // to write a companion of this part
    bool failedBefore = false;  // of the part before
    bool displaced = false;     // the file
    bool failing = false;       // fail() was called
    std::uint64_t lostTold = 0; // by fail()
    std::optional<QString> notice;
};

} // namespace qorn::timetagger::gui
