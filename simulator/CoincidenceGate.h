// One gate of the hardware coincidence counter: takes the inputs' events slice by slice, delays them by their
// input's offset and counts them. Lives as long as one gate, in the Instrument's command.
#pragma once

#include "CoincidenceUnit.h"
#include "InputStage.h"
#include "PulseGenerator.h"

#include <array>
#include <cstdint>
#include <vector>

namespace qorn::simulator {

struct CoincidenceSettings {
    std::uint32_t periodCycles = 300'000'000;
    std::uint32_t windowCycles = 1;
    std::uint8_t mask = 15;
    std::array<std::int64_t, kInputs> offsetsPs{};
};

class CoincidenceGate {
public:
    // The generator outlives the gate; `inputs` gives times from the gate's start on.
    CoincidenceGate(PulseGenerator& pulses, InputStage inputs, const CoincidenceSettings& wanted);

    bool done() const { return position >= gatePs; }
    std::int64_t nextSliceEndPs() const; // since the gate's start
    void makeSlice();
    const CoincidenceCounts& result() const { return unit.result(); } // when done

private:
    PulseGenerator& generator;
    InputStage stage;
    std::array<std::int64_t, kInputs> offsetsPs;
    std::int64_t earliestPs; // the smallest offset
    std::int64_t gatePs;
    CoincidenceUnit unit;
    std::int64_t position = 0;
    std::vector<Tag> events;
    std::vector<Tag> pending; // an event of a later slice may still come before these
};

} // namespace qorn::simulator
