// Merges the pulses of all sources of a unit in time order, slice by slice. Owned by the Instrument.
#pragma once

#include "PulseSource.h"
#include "TimeBase.h"

#include <memory>
#include <span>
#include <vector>

namespace qorn::simulator {

class PulseGenerator {
public:
    // With `repeatSlices` above 0 the first so many slices come again and again.
    PulseGenerator(const std::vector<SourceSpec>& specs, std::uint64_t seed, int repeatSlices);
    explicit PulseGenerator(std::unique_ptr<PulseSource> only); // null: silence

    std::int64_t positionPs() const { return position; } // where the next slice begins
    int repeatSlices() const { return repeat; }

    // The pulses of the next slice in time order; valid until the next call.
    std::span<const Pulse> nextSlice();
    void skipSlice() { position += kSlicePs; } // only where all slices that repeat have been made

private:
    void makeSlice(std::int64_t untilPs);
    void mergeRuns();

    std::vector<std::unique_ptr<PulseSource>> sources;
    int repeat = 0;
    std::int64_t position = 0;
    std::vector<Pulse> pulses;
    std::vector<Pulse> merged;
    std::vector<std::size_t> runEnds;         // each source's pulses are one sorted run
    std::vector<std::vector<Pulse>> prepared; // the slices that repeat
};

} // namespace qorn::simulator
