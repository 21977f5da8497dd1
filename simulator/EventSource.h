// Base of the sources whose events make several or jittered pulses: collects what an event pushes and
// releases it in time order. An event may push pulses up to `leadPs` before its own time.
#pragma once

#include "PulseSource.h"
#include "Random.h"

namespace qorn::simulator {

class EventSource : public PulseSource {
public:
    void generate(std::int64_t untilPs, std::vector<Pulse>& out) final;

protected:
    EventSource(std::uint64_t seed, double amplitudeV, double lead);

    virtual std::int64_t nextEventPs() const = 0;
    virtual void emitEvent() = 0; // pushes the pulses of the next event and steps on

    void push(std::int64_t timePs, int input);
    std::int64_t spread(double sigmaPs); // a Gaussian deviate, within the lead that its source allowed for

    Random random;

private:
    float amplitude;
    std::int64_t leadPs;
    std::int64_t releasedUntilPs = 0;
    std::vector<Pulse> pending;
};

// Deviates are cut at so many sigmas, so that a source knows how early a pulse can come.
inline constexpr double kWidestSigmas = 6;

} // namespace qorn::simulator
