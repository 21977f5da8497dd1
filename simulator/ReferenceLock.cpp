#include "ReferenceLock.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

using Seconds = std::chrono::duration<double>;

ReferenceLock::Time after(ReferenceLock::Time start, double seconds) {
    return start + std::chrono::duration_cast<ReferenceLock::Time::duration>(Seconds(seconds));
}

} // namespace

ReferenceLock::ReferenceLock(const ReferenceSpec& reference, Time openedAt)
    : spec(reference), opened(openedAt), selectedAt(openedAt) {}

void ReferenceLock::select(ClockSource source, int signal, Time now) {
    if (source != requested) {
        selectedAt = now;
    }
    requested = source;
    outputSignal = signal;
}

bool ReferenceLock::presentAt(Time now) const {
    if (!spec.present || !spec.lostAfterS) {
        return spec.present;
    }
    const Time lost = after(opened, *spec.lostAfterS);
    return now < lost || (spec.backAfterS && now >= after(lost, *spec.backAfterS));
}

ReferenceLock::Time ReferenceLock::presentSince(Time now) const {
    if (spec.lostAfterS && spec.backAfterS) {
        const Time back = after(opened, *spec.lostAfterS + *spec.backAfterS);
        return now >= back ? back : opened;
    }
    return opened;
}

ClockState ReferenceLock::state(Time now) const {
    ClockState state;
    state.requested = requested;
    state.outputSignal = outputSignal;
    state.present = presentAt(now);
    if (requested == ClockSource::Internal) {
        return state;
    }
    const Time from = std::max(selectedAt, presentSince(now));
    state.locked = state.present && !spec.lockFault && now >= after(from, spec.lockDelayS);
    if (state.locked) {
        state.active = ClockSource::External;
        return state;
    }
    // while it locks, and without a signal, the internal oscillator runs the unit
    state.fallback = requested == ClockSource::External && (!state.present || spec.lockFault);
    state.lockFault = requested == ClockSource::External || (state.present && spec.lockFault);
    return state;
}

} // namespace qorn::simulator
