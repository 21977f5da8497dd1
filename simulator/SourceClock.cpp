#include "SourceClock.h"

#include "TimeBase.h"

#include <cmath>
#include <numbers>

namespace qorn::simulator {

SourceClock::SourceClock(const ClockShape& clock) : shape(clock) {
    whole = std::llround(shape.phasePs);
    periodPs = periodNow();
    periodValidUntilPs = whole + kPsPerMillisecond;
}

double SourceClock::periodNow() const {
    const double seconds = static_cast<double>(whole) * 1e-12;
    const double drift = shape.driftPpm * std::sin(2 * std::numbers::pi * seconds / shape.driftPeriodS);
    return 1e12 / (shape.frequencyHz * (1 + (shape.offsetPpm + drift) * 1e-6));
}

void SourceClock::advance() {
    // the frequency moves slowly: once a millisecond is often enough
    if (whole >= periodValidUntilPs) {
        periodPs = periodNow();
        periodValidUntilPs = whole + kPsPerMillisecond;
    }
    const double next = periodPs + fraction;
    const double step = std::floor(next);
    whole += static_cast<std::int64_t>(step);
    fraction = next - step;
}

} // namespace qorn::simulator
