#include "EventSource.h"

#include <algorithm>
#include <cmath>

namespace qorn::simulator {

namespace {

bool earlier(const Pulse& a, const Pulse& b) {
    return a.timePs < b.timePs;
}

} // namespace

EventSource::EventSource(std::uint64_t seed, double amplitudeV, double lead)
    : random(seed), amplitude(static_cast<float>(amplitudeV)),
      leadPs(static_cast<std::int64_t>(std::ceil(std::max(lead, 0.0)))) {}

void EventSource::generate(std::int64_t untilPs, std::vector<Pulse>& out) {
    while (nextEventPs() - leadPs < untilPs) {
        emitEvent();
    }
    std::stable_sort(pending.begin(), pending.end(), earlier);
    const auto later = std::lower_bound(pending.begin(), pending.end(), Pulse{untilPs, 0, 0}, earlier);
    out.insert(out.end(), pending.begin(), later);
    pending.erase(pending.begin(), later);
    releasedUntilPs = untilPs;
}

void EventSource::push(std::int64_t timePs, int input) {
    pending.push_back({std::max(timePs, releasedUntilPs), amplitude, static_cast<std::uint8_t>(input)});
}

std::int64_t EventSource::spread(double sigmaPs) {
    if (sigmaPs == 0) {
        return 0;
    }
    return std::llround(sigmaPs * std::clamp(random.gaussian(), -kWidestSigmas, kWidestSigmas));
}

} // namespace qorn::simulator
