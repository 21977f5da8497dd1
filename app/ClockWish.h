// The operator's choice of timebase and clock output, and its stored form.
#pragma once

#include "ReferenceClock.h"

namespace qorn::timetagger::gui {

struct ClockWish {
    timing::ReferenceClockSource source = timing::ReferenceClockSource::Internal;
    timing::ReferenceSignal signal = timing::ReferenceSignal::TenMegahertz;

    // One integer: bits 0 and 1 the source (anything but 1 and 2 is automatic), bit 2 set for 1 PPS.
    static ClockWish fromMode(int mode);
    int toMode() const;

    // The application's stored choice; internal with 10 MHz without one.
    static ClockWish load();
    void save() const;

    bool operator==(const ClockWish&) const = default;
};

} // namespace qorn::timetagger::gui
