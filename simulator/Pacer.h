// How far instrument time has come in a running measurement: with the wall clock, or as far as it is asked
// for. Owned by the measurement; time is passed in. All instrument times count from the measurement's start.
#pragma once

#include "Scene.h"

#include <chrono>
#include <cstdint>
#include <limits>

namespace qorn::simulator {

class Pacer {
public:
    using Time = std::chrono::steady_clock::time_point;

    Pacer(Pace how, double durationS, Time now)
        : pace(how), start(now), endPs(durationS > 0 ? static_cast<std::int64_t>(durationS * 1e12)
                                                     : std::numeric_limits<std::int64_t>::max()) {}

    bool unpaced() const { return pace == Pace::Unpaced; }

    // What may be made by now.
    std::int64_t reachedPs(Time now) const;

    // Whether there is more to make that no wall clock holds back: a read then goes on, whatever its
    // time-out.
    bool mustGoOn(std::int64_t positionPs) const;

    // When that time is reached; a point far ahead where it never is, or where no wall clock counts.
    Time reachedAt(std::int64_t ps) const;

    // Lets the clock slip where the making has fallen far behind it, so that it does not try to catch up for
    // ever.
    void slip(Time now, std::int64_t positionPs);

private:
    Pace pace;
    Time start;
    std::int64_t endPs;
};

} // namespace qorn::simulator
