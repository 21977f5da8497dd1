// The state of the reference clock.
#pragma once

#include "ReferenceClock.h"

#include <QString>

namespace qorn::timetagger::gui {

struct UiClockStatus {
    bool deviceOpen = false; // the controller has an open local device
    bool available = false;  // clock control works on this device image
    timing::ReferenceClockSource requestedSource = timing::ReferenceClockSource::Automatic;
    timing::ReferenceClockSource activeSource = timing::ReferenceClockSource::Automatic;
    timing::ReferenceSignal outputSignal = timing::ReferenceSignal::TenMegahertz;
    bool referencePresent = false; // a signal was seen at the reference input
    bool referenceLocked = false;  // the instrument is locked to it
    bool thirdFlag = false;        // carried along
    bool fallbackActive = false;   // the instrument fell back to its internal clock
    bool lockFault = false;        // the lock is not good
    int statusWord = 0;            // carried along
    QString message;               // why the clock is unavailable, else empty
};

} // namespace qorn::timetagger::gui
