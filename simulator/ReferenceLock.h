// The timebase of a unit: which source was asked for and which one runs it. Follows the external reference as
// the scene tells, with a delay until it is locked. Owned by the Instrument and guarded by its mutex; time is
// passed in.
#pragma once

#include "Scene.h"

#include <chrono>

namespace qorn::simulator {

enum class ClockSource { Automatic = 0, Internal = 1, External = 2 };

struct ClockState {
    ClockSource requested = ClockSource::Internal;
    ClockSource active = ClockSource::Internal;
    int outputSignal = 0; // 0: 10 MHz, 1: one pulse per second
    bool present = false;
    bool locked = false;
    bool fallback = false;  // external was asked for, internal runs
    bool lockFault = false; // external was asked for or is there, and the lock is not good
};

class ReferenceLock {
public:
    using Time = std::chrono::steady_clock::time_point;

    ReferenceLock(const ReferenceSpec& reference, Time openedAt);

    // Asking again for the source that runs does not start the lock anew.
    void select(ClockSource source, int signal, Time now);
    ClockState state(Time now) const;

private:
    bool presentAt(Time now) const;
    Time presentSince(Time now) const;

    ReferenceSpec spec;
    Time opened;
    ClockSource requested = ClockSource::Internal;
    int outputSignal = 0;
    Time selectedAt;
};

} // namespace qorn::simulator
