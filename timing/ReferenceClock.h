// The reference clock of the instrument as the client layer sees it.
#pragma once

#include "tt_driver.h"

#include <cstdint>

namespace qorn::timing {

enum class ReferenceClockSource : int { Automatic = 0, Internal = 1, External = 2 };
enum class ReferenceSignal : int { TenMegahertz = 0, OnePps = 1 };

struct ReferenceClockStatus {
    ReferenceClockSource requestedSource = ReferenceClockSource::Automatic;
    ReferenceClockSource activeSource = ReferenceClockSource::Automatic;
    ReferenceSignal outputSignal = ReferenceSignal::TenMegahertz;
    bool referencePresent = false;
    bool referenceLocked = false;
    bool thirdFlag = false;
    bool fallbackActive = false;
    bool lockFault = false;
    std::int32_t statusWord = 0;

    // Words outside the known sources and signals are kept as they are.
    static ReferenceClockStatus from_c(const tt_reference_clock_status& status);
};

} // namespace qorn::timing
