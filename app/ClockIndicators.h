// What the clock flags of the status bar show for a state of the reference clock: a pure function.
#pragma once

#include "StatusFlag.h"
#include "UiClockStatus.h"

#include <QString>

namespace qorn::timetagger::gui {

struct FlagText {
    QString text;
    FlagState state = FlagState::Muted;
};

struct ClockIndicators {
    FlagText lock;
    FlagText output;
};

ClockIndicators clockIndicatorsFor(const UiClockStatus& status);

} // namespace qorn::timetagger::gui
