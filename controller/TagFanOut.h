// Carries captured tags to their three receivers: the recording (complete), the relay publisher (complete)
// and the GUI (thinned, in batches). One per capture, used on the capture task's thread; time is passed in.
#pragma once

#include "LoopClock.h"
#include "MeasurementEvents.h"
#include "TagRecording.h"
#include "TagThinner.h"
#include "TimeTag.h"
#include "UiTimeTag.h"

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

    // Each takes one pass, empty passes too. Throw the recording's failure.
    void record(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);
    void publish(std::span<const timing::TimeTag> tags);
    void show(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now);

    // Hands out a partly filled batch.
    void flush();
    // Writes what is queued for the recording. Throws its failure.
    void closeRecording();

private:
    void emitBatch();

    std::unique_ptr<TagRecording> recording;
    relay::RelayServer* relay;
    MeasurementEvents& events;
    qsizetype batchTags;
    TagThinner thinner;
    LoopClock::TimePoint lastEmission;
    UiTimeTagBatch batch;
};

} // namespace qorn::timetagger::gui
