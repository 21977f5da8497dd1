// What a measurement loop reports while it runs. Called on the loop's thread; the implementation carries the
// reports to where they are needed.
#pragma once

#include "ReferenceClock.h"
#include "UiCoincidenceSample.h"
#include "UiCounterSample.h"
#include "UiTimeTag.h"

namespace qorn::timetagger::gui {

class MeasurementEvents {
public:
    virtual ~MeasurementEvents() = default;
    virtual void clockStatus(const timing::ReferenceClockStatus& status) = 0;
    virtual void counterSample(UiCounterSample sample) = 0;
    // NOLINTNEXTLINE(performance-unnecessary-value-param): a sink
    virtual void coincidenceSample(UiCoincidenceSample) {}
    virtual void tagsBatch(UiTimeTagBatch batch) = 0;
    // At the end of a capture that could not follow the instrument: so many tags are in no recording and no
    // plot.
    virtual void tagsLost(quint64) {}
};

} // namespace qorn::timetagger::gui
