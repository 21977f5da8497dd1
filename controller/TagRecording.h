// One recording of a tag stream: its file, its maximum duration and its rotation. Used on the capture task's
// thread; time is passed in.
#pragma once

#include "AsyncDecodedQorntsWriter.h"
#include "LoopClock.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"
#include "UiTimeTagRecordingConfig.h"

#include <memory>
#include <span>

namespace qorn::timetagger::gui {

class TagRecording {
public:
    // Starts a recording, or gives null when the path is blank. Makes the folder; a file that is there
    // already is left alone, and a number added to the new one's name. `stream` describes the stream that is
    // captured; the file's header says what it holds, raw64 "ps" words. Throws std::runtime_error when the
    // folder cannot be made, timing::Error when the file cannot be opened.
    static std::unique_ptr<TagRecording> start(const UiTimeTagRecordingConfig& config,
                                               const timing::StreamFileHeader& stream,
                                               LoopClock::TimePoint now);

    // One pass: ends or rotates the recording when its time has come, then records the tags. Blocks while the
    // writer lags. Throws the writer's failure.
    void append(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);

    // Writes what is queued and closes the file. Throws the writer's failure.
    void close();

private:
    TagRecording(const UiTimeTagRecordingConfig& recording, const timing::StreamFileHeader& first,
                 LoopClock::TimePoint now);

    UiTimeTagRecordingConfig config;
    timing::StreamFileHeader header;
    AsyncDecodedQorntsWriter writer;
    LoopClock::TimePoint recordingBegin;
    LoopClock::TimePoint partBegin;
    int partIndex = 0;
    bool active = true; // until the maximum duration
};

} // namespace qorn::timetagger::gui
