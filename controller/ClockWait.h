// Makes the instrument's timebase ready at the start of a measurement.
#pragma once

#include "LoopClock.h"
#include "MeasurementEvents.h"
#include "ReferenceClock.h"

#include <atomic>

namespace qorn::timing {
class Device;
}

namespace qorn::timetagger::gui {

// The clock that a measurement is to run on.
struct ClockRequest {
    timing::ReferenceClockSource source = timing::ReferenceClockSource::Internal;
    timing::ReferenceSignal signal = timing::ReferenceSignal::TenMegahertz;
    bool controlAvailable = true; // false: the image has no clock control, and the clock is left alone
};

// True when the instrument runs on a good external reference.
bool isLockedToExternal(const timing::ReferenceClockStatus& status);

// Sets the clock and, for the external source, waits up to 2.5 s for the lock, publishing each status that it
// reads. Returns early when `stop` is set. Throws timing::Error, or std::runtime_error when the lock does not
// come: a measurement never starts on another timebase than the one chosen.
void ensureReferenceClockReadyForMeasurement(timing::Device& device, const ClockRequest& request,
                                             const std::atomic<bool>& stop, MeasurementEvents& events,
                                             LoopClock& clock);

} // namespace qorn::timetagger::gui
