// Carries captured tags to their three receivers: the recording (complete), the relay publisher (complete)
// and the GUI (thinned, in batches), and counts what became of them. One per capture, used on the capture
// task's thread; time is passed in.
#pragma once

#include "LoopClock.h"
#include "MeasurementEvents.h"
#include "TagRecording.h"
#include "TagThinner.h"
#include "TimeTag.h"
#include "UiTagFlow.h"
#include "UiTimeTag.h"

#include <memory>
#include <span>
#include <string>

namespace qorn::relay {
class RelayServer;
}

namespace qorn::timetagger::gui {

class TagFanOut {
public:
    // `recording` and `relay` may be null. A batch goes out when it holds `batchSize` tags or 50 ms after the
    // one before.
    TagFanOut(std::unique_ptr<TagRecording> tagRecording, relay::RelayServer* relayServer,
              MeasurementEvents& receiver, int batchSize, int maxUiTagsPerSecond, LoopClock::TimePoint start);

    // Each takes one pass, empty passes too. Throw the recording's failure. A batch for which the GUI has no
    // room is dropped and counted; recording and relay do not suffer.
    void record(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);
    void publish(std::span<const timing::TimeTag> tags);
    void show(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);

    // Hands out a partly filled batch.
    void flush();
    // Drops a partly filled batch, and counts what the loop has pulled and not carried to the end as cut by
    // an error. Nothing is shown afterwards.
    void end(quint64 pulled, quint64 masked);
    // The counts of recording, relay and GUI; they balance between passes.
    const UiTagFlow& flow() const { return counts; }
    // So many tags in all were lost in the reader before those that come next: the recording tells of it.
    // Throws the recording's failure.
    void noteDropped(quint64 dropped);
    // Writes what is queued for the recording. Throws its failure.
    void closeRecording();
    // The same for a capture that ends with this text, which the recording tells. Swallows its failure.
    void closeRecordingAfter(const std::string& error) noexcept;

private:
    void emitBatch();
    void passOnNotice();

    std::unique_ptr<TagRecording> recording;
    relay::RelayServer* relay;
    MeasurementEvents& events;
    qsizetype batchTags;
    TagThinner thinner;
    LoopClock::TimePoint lastEmission;
    UiTimeTagBatch batch;
    UiTagFlow counts;
    quint64 noted = 0; // tags lost in the reader that the recording knows of
};

} // namespace qorn::timetagger::gui
