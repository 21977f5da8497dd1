// Tells where the tags of a capture went: at most every 250 ms while it runs, and once at its end. Owned by
// the capture task; the reader's thread calls watch() alone, so that losses are told while the loop is held
// up.
#pragma once

#include "LoopClock.h"
#include "MeasurementEvents.h"
#include "UiTagFlow.h"

#include <mutex>

namespace qorn::timing {
class TagStreamReader;
}

namespace qorn::timetagger::gui {

class TagFlowMeter {
public:
    TagFlowMeter(MeasurementEvents& receiver, LoopClock::TimePoint start)
        : events(receiver), reported(start) {}

    // From now on the counts of the source are those of this reader, which must not be older than they.
    void follow(const timing::TagStreamReader& source);

    // The loop's counts after a pass. Reports them when it is time and they differ from those of before.
    void update(const UiTagFlow& counts, LoopClock::TimePoint now);
    // Reports when it is time and tags have been dropped since the last report. The reader's thread.
    void watch(LoopClock::TimePoint now);
    // The counts of a loop that has ended, ahead of what may take long: reported now when they differ.
    void pause(const UiTagFlow& counts);
    // The last counts, which are always reported. The reader has been stopped.
    void finish(const UiTagFlow& counts);

private:
    void refreshSource();
    void report(LoopClock::TimePoint now);

    MeasurementEvents& events;
    std::mutex mutex; // guards all below, and puts the reports in order
    const timing::TagStreamReader* reader = nullptr;
    UiTagFlow latest;
    UiTagFlow told;
    LoopClock::TimePoint reported;
};

} // namespace qorn::timetagger::gui
