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

#include <exception>
#include <memory>
#include <span>

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

    // Each takes one pass, empty passes too; a recording may get passes that the others do not. Throw the
    // recording's failure. A batch for which the GUI has no room is dropped and counted; recording and relay
    // do not suffer.
    void record(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);
    void publish(std::span<const timing::TimeTag> tags);
    void show(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);

    // True while tags are recorded: there is a recording whose maximum duration has not passed.
    bool isRecording() const { return recording && recording->isActive(); }

    // Hands out a partly filled batch.
    void flush();

    // Ends the recording, if any, and waits until all that is queued for it is in its file: as the operator's
    // stop, or for a capture that has failed, which the recording tells. Gives the capture's failure, which
    // is the recording's own when there was none before.
    std::exception_ptr closeRecording(const std::exception_ptr& failure = nullptr);

    // The end of a capture, behind that of its recording: the counts are final and exact. Drops a partly
    // filled batch. What the loop has pulled and not carried to a receiver was cut by the error, or else it
    // was left out at the stop. Nothing is shown afterwards.
    void end(quint64 pulled, quint64 masked, bool failed);

    // The counts of recording, relay and GUI; they balance.
    const UiTagFlow& flow() const { return counts; }
    // So many tags in all were lost in the reader before those that come next, and so many bytes of the
    // stream were in no tag: the recording tells of both.
    void noteLosses(quint64 dropped, quint64 unreadableBytes);

private:
    void emitBatch();
    void countWritten();
    void passOnNotices();

    std::unique_ptr<TagRecording> recording;
    relay::RelayServer* relay;
    MeasurementEvents& events;
    qsizetype batchTags;
    TagThinner thinner;
    LoopClock::TimePoint lastEmission;
    UiTimeTagBatch batch;
    UiTagFlow counts;
    quint64 handed = 0;       // tags, to the recording
    quint64 notedDropped = 0; // of which the recording knows
    quint64 notedUnreadable = 0;
};

} // namespace qorn::timetagger::gui
