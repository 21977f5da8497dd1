// Keeps the companion files of a recording's parts: counts what reaches the stream file, and writes the
// companion at a part's begin and end and in between. Owned by the recording's writer, used on its thread.
#pragma once

#include "RecordingTally.h"
#include "StreamFileWriter.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qorn::timetagger::gui {

class CompanionKeeper {
public:
    // Follows what `writer` writes from now on; the writer must not write when the keeper has gone.
    explicit CompanionKeeper(timing::StreamFileWriter& writer);

    // The writer has opened this file. A file that is none of a file system, such as a pipe, has no
    // companion.
    void begin(const std::filesystem::path& streamFile);

    // The true times of records behind those that are appended so far, counted from 0.
    void expect(const std::vector<timing::RecordTime>& times);

    // Tags were lost behind those that are appended so far.
    void add(timing::RecordingLoss loss);

    // Writes the companion when it has something new to say.
    void refresh();

    // Writes the companion for the last time for this part; nothing when there is none.
    void end(timing::PartEnd reason, std::string_view error = {});

    // The text of the first failure to write a companion, once.
    std::optional<std::string> takeFailure();

private:
    void write(timing::PartEnd reason, std::string_view error);

    timing::StreamFileWriter& file;
    std::filesystem::path path;
    std::optional<timing::RecordingTally> tally; // of the open part
    bool changed = false;
    bool failed = false;
    std::optional<std::string> failure;
};

} // namespace qorn::timetagger::gui
