#include "PulseGenerator.h"

#include "Random.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

// std::merge without its branch, which nobody can predict for random pulses.
Pulse* merge(const Pulse* a, const Pulse* aEnd, const Pulse* b, const Pulse* bEnd, Pulse* out) {
    while (a != aEnd && b != bEnd) {
        const bool second = b->timePs < a->timePs;
        *out++ = *(second ? b : a);
        a += second ? 0 : 1;
        b += second ? 1 : 0;
    }
    return std::copy(b, bEnd, std::copy(a, aEnd, out));
}

} // namespace

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
    while (runEnds.size() > 1) {
        merged.resize(pulses.size());
        Pulse* out = merged.data();
        const Pulse* begin = pulses.data();
        std::size_t kept = 0;
        for (std::size_t i = 0; i < runEnds.size(); i += 2) {
            const Pulse* middle = pulses.data() + runEnds[i];
            const Pulse* end = i + 1 < runEnds.size() ? pulses.data() + runEnds[i + 1] : middle;
            out = merge(begin, middle, middle, end, out);
            begin = end;
            runEnds[kept++] = static_cast<std::size_t>(end - pulses.data());
        }
        runEnds.resize(kept);
        pulses.swap(merged);
    }
}

} // namespace qorn::simulator
