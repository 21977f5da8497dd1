// The instrument's own pulse generator, which can take the place of all four inputs: a divided oscillator
// that is independent of the coarse clock. Owned by the Instrument's running measurement; a frequency is a
// divider.
#pragma once

#include "EventSource.h"

namespace qorn::simulator {

class InternalGenerator final : public EventSource {
public:
    // The divider whose frequency is nearest to the wanted one, at least 1; the frequency is above 0.
    static std::uint32_t dividerFor(double frequencyHz);
    static double frequencyOf(std::uint32_t divider);

    InternalGenerator(std::uint32_t firstDivider, std::int64_t startPs, std::uint64_t seed);

    // Puts off the first pulse by any part of an undivided period. Without that, streams begin at the same
    // phase of the coarse clock, and a sweep over dividers sees the same few fine codes in each of its steps.
    void beginAnywhere();

    // Steps through `count` dividers from the first one on, each for `periods` periods, over and over.
    void sweep(std::uint32_t count, std::uint32_t periods);

private:
    std::int64_t nextEventPs() const override { return next; }
    void emitEvent() override;

    std::uint32_t divider;
    std::uint32_t sweepSteps = 1;
    std::uint32_t sweepPeriods = 1;
    std::uint64_t periodsDone = 0;
    std::int64_t next;
    std::uint64_t remainder = 0; // in parts of a picosecond, see the period in InternalGenerator.cpp
};

} // namespace qorn::simulator
