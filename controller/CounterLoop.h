// The hardware counter: autonomous count frames, one per gate.
#pragma once

#include "ClockWait.h"

#include <QtGlobal>

namespace qorn::timetagger::gui {

struct CounterRequest {
    double gateSeconds = 0.1;
    bool internalSource = false;
    double internalRateHz = 0.0;
    ClockRequest clock;
};

// The gate that hardware can run for a wished one: at least 1 ms; not a number counts as that.
double leastGate(double gateSeconds);

// 300 MHz cycles of a gate, at least 1; longer gates than 32 bits hold saturate.
quint32 gateCycles(double gateSeconds);

// Runs count frames until `stop` is set. Throws timing::Error or std::runtime_error; on every path the frames
// are stopped and the test signal is disarmed if it was armed.
void counterLoop(timing::Device& device, const CounterRequest& request, const std::atomic<bool>& stop,
                 MeasurementEvents& events, LoopClock& clock);

} // namespace qorn::timetagger::gui
