// The hardware coincidence measurement: one gate after the other, each run by a call of its own.
#pragma once

#include "ClockWait.h"
#include "UiCoincidenceConfig.h"

namespace qorn::timetagger::gui {

struct CoincidenceRequest {
    UiCoincidenceConfig config;
    bool internalSource = false;
    double internalRateHz = 0.0;
    ClockRequest clock;
};

// Runs gates until `stop` is set, reporting each as a coincidence sample; a running gate is waited for.
// Throws std::runtime_error for what only a tag stream can count, and timing::Error, also for a gate that
// does not end in time; on every path the test signal is disarmed if it was armed.
void coincidenceLoop(timing::Device& device, const CoincidenceRequest& request, const std::atomic<bool>& stop,
                     MeasurementEvents& events, LoopClock& clock);

} // namespace qorn::timetagger::gui
