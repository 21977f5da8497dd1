// One recording of a tag stream: its file, its maximum duration and its rotation. Used on the capture task's
// thread; time is passed in.
#pragma once

#include "AsyncDecodedQorntsWriter.h"
#include "LoopClock.h"
#include "RecordTimes.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"
#include "UiTimeTagRecordingConfig.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qorn::timetagger::gui {

class TagRecording {
public:
    // Where the tags come from. A network may stand for seconds while the inputs go on.
    enum class Link { Instrument, Network };

    // Starts a recording, or gives null when the path is blank. Makes the folder; a file that is there
    // already is left alone, and a number added to the new one's name. `stream` describes the stream that is
    // captured; the file's header says what it holds, raw64 "ps" words. Of raw64 words from an instrument the
    // lengths of silences are taken from the loop's clock: their decoder misses periods without tags. Throws
    // std::runtime_error when the folder cannot be made, timing::Error when the file cannot be opened.
    static std::unique_ptr<TagRecording> start(const UiTimeTagRecordingConfig& config,
                                               const timing::StreamFileHeader& stream,
                                               LoopClock::TimePoint now, Link link = Link::Instrument);

    // One pass: ends or rotates the recording when its time has come, then records the tags. Blocks while the
    // writer lags. Throws the writer's failure.
    void append(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);

    // False once the maximum duration has ended it: what is appended then is not recorded.
    bool isActive() const { return active; }

    // So many tags were lost in the stage of that name (at most 64 bytes) behind those that were appended, or
    // bytes for timing::kUnreadableStage: the companion tells of it. Nothing for none, and behind the maximum
    // duration.
    void noteLoss(std::string_view stage, std::uint64_t count);

    // The operator's stop: writes what is queued and closes the file. Throws the writer's failure.
    void close();

    // As close(), for a capture that ends with this text, which the companion tells. Swallows failures: the
    // capture's own is the one to show.
    void closeAfter(const std::string& error) noexcept;

    // Tags in the files so far; no more of them when it is closed.
    std::uint64_t written() const { return writer.written(); }

    // A text for the operator when the companion could not be written, or the file is not in its place any
    // more; each is given once. The recording goes on.
    std::optional<QString> takeNotice() { return writer.takeNotice(); }

private:
    void rotate(LoopClock::TimePoint now);
    std::int64_t endSilence(LoopClock::TimePoint now);

    TagRecording(const UiTimeTagRecordingConfig& recording, const timing::StreamFileHeader& first,
                 LoopClock::TimePoint now, bool timesSilences);

    UiTimeTagRecordingConfig config;
    timing::StreamFileHeader header;
    AsyncDecodedQorntsWriter writer;
    LoopClock::TimePoint recordingBegin;
    LoopClock::TimePoint partBegin;
    timing::RecordTimes times;
    bool timesSilences;
    std::optional<LoopClock::TimePoint> silentSince; // while passes bring no tags
    int partIndex = 0;
    bool active = true; // until the maximum duration
};

} // namespace qorn::timetagger::gui
