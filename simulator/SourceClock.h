// The ticks of a clock that wanders, as the description of a periodic source tells it; owned by that source.
#pragma once

#include "Scene.h"

#include <cstdint>

namespace qorn::simulator {

class SourceClock {
public:
    explicit SourceClock(const ClockShape& clock);

    std::int64_t nextTickPs() const { return whole; } // without jitter
    void advance();

private:
    double periodNow() const;

    ClockShape shape;
    std::int64_t whole = 0;
    double fraction = 0; // of a picosecond, so that nothing is lost over hours
    double periodPs = 0;
    std::int64_t periodValidUntilPs = 0;
};

} // namespace qorn::simulator
