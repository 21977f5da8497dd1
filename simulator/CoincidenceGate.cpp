#include "CoincidenceGate.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

constexpr std::uint8_t kAllInputs = (1 << kInputs) - 1;

bool earlier(const Tag& a, const Tag& b) {
    return a.timePs < b.timePs;
}

} // namespace

CoincidenceGate::CoincidenceGate(PulseGenerator& pulses, InputStage inputs, const CoincidenceSettings& wanted)
    : generator(pulses), stage(std::move(inputs)), offsetsPs(wanted.offsetsPs),
      earliestPs(*std::min_element(offsetsPs.begin(), offsetsPs.end())),
      gatePs(cyclesToPs(wanted.periodCycles)), unit(wanted.mask, wanted.windowCycles) {}

std::int64_t CoincidenceGate::nextSliceEndPs() const {
    return std::min(position + kSlicePs, gatePs);
}

void CoincidenceGate::makeSlice() {
    events.clear();
    stage.process(generator.nextSlice(), kAllInputs, events);
    position += kSlicePs;
    for (const Tag& event : events) {
        if (event.timePs < gatePs) {
            pending.push_back({event.timePs + offsetsPs[event.input], event.input});
        }
    }
    std::stable_sort(pending.begin(), pending.end(), earlier);
    const auto certain =
        done() ? pending.end()
               : std::lower_bound(pending.begin(), pending.end(), Tag{position + earliestPs, 0}, earlier);
    unit.add({pending.begin(), certain});
    pending.erase(pending.begin(), certain);
}

} // namespace qorn::simulator
