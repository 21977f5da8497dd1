// The autonomous counter: cuts the inputs' events into frames of equal length and holds the last of them
// until they are read. Owned by the Instrument and guarded by its mutex.
#pragma once

#include "InputStage.h"
#include "Pacer.h"
#include "PulseGenerator.h"

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

namespace qorn::simulator {

using Counts = std::array<std::uint32_t, kInputs>;

class CountFrames {
public:
    CountFrames(PulseGenerator& pulses, InputStage inputs, Pacer clock, std::uint32_t cycles);

    void apply(const InputSettings& settings, const DelayLines& lines) { stage.apply(settings, lines); }
    std::uint32_t periodCycles() const { return cyclesPerFrame; }

    // Goes on to where time has come, for at most a few milliseconds of work; unpaced, until a frame is
    // there.
    void advance(Pacer::Time now);
    std::optional<Counts> take(); // the oldest frame that is held
    bool mustGoOn() const { return pacer.mustGoOn(positionPs); }
    Pacer::Time nextFrameAt() const;

private:
    void makeSlice();
    void closeFrames(std::int64_t untilPs); // those that end at or before it
    std::int64_t frameEndPs() const;

    PulseGenerator& generator;
    std::int64_t originPs; // scene time of the start
    InputStage stage;
    Pacer pacer;
    std::uint32_t cyclesPerFrame;
    std::int64_t framesClosed = 0;
    std::int64_t positionPs = 0;
    Counts open{};
    std::deque<Counts> frames;
    std::vector<Tag> events;
};

} // namespace qorn::simulator
