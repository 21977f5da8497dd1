#include "SourceLoad.h"

#include "EventSource.h"

#include <cmath>

namespace qorn::simulator {

namespace {

// Events are made as early as the earliest of their pulses can come, and held until the latest one.
SourceLoad loadOfEvents(double rateHz, double pulses, double spanPs) {
    const double perSecond = rateHz * pulses;
    return {perSecond, perSecond * spanPs * 1e-12};
}

struct Estimate {
    SourceLoad operator()(const PoissonSpec& poisson) const { return {poisson.rateHz, 0}; }
    SourceLoad operator()(const PeriodicSpec& periodic) const {
        return loadOfEvents(periodic.clock.frequencyHz, 1, 2 * kWidestSigmas * periodic.clock.jitterPs);
    }
    SourceLoad operator()(const PairsSpec& pairs) const {
        return loadOfEvents(pairs.rateHz, 2, 2 * kWidestSigmas * pairs.sigmaPs + std::abs(pairs.delayPs));
    }
    SourceLoad operator()(const DecaySpec& decay) const {
        return loadOfEvents(decay.clock.frequencyHz, 1 + decay.probability,
                            2 * kWidestSigmas * (decay.clock.jitterPs + decay.sigmaPs) +
                                std::abs(decay.delayPs) + decay.lifetimePs);
    }
    SourceLoad operator()(const EmitterSpec& emitter) const {
        return loadOfEvents(emitter.rateHz, 1, 2 * kWidestSigmas * emitter.sigmaPs);
    }
    SourceLoad operator()(const BurstsSpec& bursts) const {
        return loadOfEvents(bursts.clock.frequencyHz, bursts.pulses,
                            2 * kWidestSigmas * bursts.clock.jitterPs + bursts.spacingPs * bursts.pulses);
    }
};

} // namespace

SourceLoad& SourceLoad::operator+=(const SourceLoad& more) {
    pulsesPerSecond += more.pulsesPerSecond;
    heldPulses += more.heldPulses;
    return *this;
}

SourceLoad loadOf(const SourceSpec& source) {
    return std::visit(Estimate{}, source.kind);
}

} // namespace qorn::simulator
