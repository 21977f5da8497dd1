// What a measurement loop reports while it runs. Called on the loop's thread, but for tagFlow; the
// implementation carries the reports to where they are needed.
#pragma once

#include "ReferenceClock.h"
#include "UiCoincidenceSample.h"
#include "UiCounterSample.h"
#include "UiTagFlow.h"
#include "UiTimeTag.h"

#include <QString>

#include <optional>

namespace qorn::timetagger::gui {

class MeasurementEvents {
public:
    virtual ~MeasurementEvents() = default;
    virtual void clockStatus(const timing::ReferenceClockStatus& status) = 0;
    virtual void counterSample(UiCounterSample sample) = 0;
    // NOLINTNEXTLINE(performance-unnecessary-value-param): a sink
    virtual void coincidenceSample(UiCoincidenceSample) {}
    virtual void tagsBatch(UiTimeTagBatch batch) = 0;
    // Asked before each batch: whether the receiver has room for so many tags more.
    virtual bool hasRoomFor(qsizetype) { return true; }
    // Asked with each pass: the limit in tags/s that has taken the place of the one that the capture began
    // with, if any; 0 or less is none.
    virtual std::optional<int> newTagLimit() { return std::nullopt; }
    // Where the tags went so far; the last one of a capture says that it has ended. Comes from the loop's
    // thread or, while that waits, from the reader's; one call at a time.
    virtual void tagFlow(const UiTagFlow&) {}
    // A fault beside the recording that does not end it.
    virtual void recordingNotice(const QString&) {}
    // At the end of a capture that could not follow the instrument: so many tags are in no recording and no
    // plot.
    virtual void tagsLost(quint64) {}
};

} // namespace qorn::timetagger::gui
