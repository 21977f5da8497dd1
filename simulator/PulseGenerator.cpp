#include "PulseGenerator.h"

#include "Random.h"

#include <algorithm>

namespace qorn::simulator {

PulseGenerator::PulseGenerator(const std::vector<SourceSpec>& specs, std::uint64_t seed, int repeatSlices)
    : repeat(repeatSlices) {
    for (std::size_t i = 0; i < specs.size(); ++i) {
        sources.push_back(makeSource(specs[i], Random::derive(seed, i)));
    }
}

PulseGenerator::PulseGenerator(std::unique_ptr<PulseSource> only) {
    if (only) {
        sources.push_back(std::move(only));
    }
}

std::span<const Pulse> PulseGenerator::nextSlice() {
    const auto number = static_cast<std::size_t>(position / kSlicePs);
    const std::int64_t begin = position;
    position += kSlicePs;
    if (repeat == 0) {
        makeSlice(position);
        return pulses;
    }
    const auto period = static_cast<std::size_t>(repeat);
    if (number < period) {
        makeSlice(position);
        prepared.push_back(pulses);
        return pulses;
    }
    const std::int64_t shift = begin - static_cast<std::int64_t>(number % period) * kSlicePs;
    pulses = prepared[number % period];
    for (Pulse& pulse : pulses) {
        pulse.timePs += shift;
    }
    return pulses;
}

void PulseGenerator::makeSlice(std::int64_t untilPs) {
    pulses.clear();
    runEnds.clear();
    for (const auto& source : sources) {
        const std::size_t before = pulses.size();
        source->generate(untilPs, pulses);
        if (pulses.size() != before) {
            runEnds.push_back(pulses.size());
        }
    }
    mergeRuns();
}

void PulseGenerator::mergeRuns() {
    const auto earlier = [](const Pulse& a, const Pulse& b) { return a.timePs < b.timePs; };
    while (runEnds.size() > 1) {
        merged.resize(pulses.size());
        std::size_t begin = 0;
        std::size_t kept = 0;
        for (std::size_t i = 0; i < runEnds.size(); i += 2) {
            const std::size_t middle = runEnds[i];
            const std::size_t end = i + 1 < runEnds.size() ? runEnds[i + 1] : middle;
            const auto at = [](std::vector<Pulse>& v, std::size_t n) {
                return v.begin() + static_cast<std::ptrdiff_t>(n);
            };
            std::merge(at(pulses, begin), at(pulses, middle), at(pulses, middle), at(pulses, end),
                       at(merged, begin), earlier);
            begin = end;
            runEnds[kept++] = end;
        }
        runEnds.resize(kept);
        pulses.swap(merged);
    }
}

} // namespace qorn::simulator
