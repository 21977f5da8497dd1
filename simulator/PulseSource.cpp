#include "PulseSource.h"

#include "EventSource.h"
#include "SourceClock.h"

#include <cmath>
#include <limits>

namespace qorn::simulator {

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max() / 2;

// A wait, not negative, in whole picoseconds; a wait beyond any measurement stays representable.
std::int64_t wholePs(double ps) {
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative, and quicker than a call
    return ps < 1e17 ? static_cast<std::int64_t>(ps + 0.5) : std::int64_t{100'000'000'000'000'000};
}

class PoissonSource final : public PulseSource {
public:
    PoissonSource(const PoissonSpec& spec, double amplitudeV, std::uint64_t seed)
        : random(seed),
          meanPs(spec.rateHz > 0 ? 1e12 / spec.rateHz : 0), pulse{0, static_cast<float>(amplitudeV),
                                                                  static_cast<std::uint8_t>(spec.input)} {
        pulse.timePs = meanPs > 0 ? wholePs(random.exponential(meanPs)) : kNever;
    }

    void generate(std::int64_t untilPs, std::vector<Pulse>& out) override {
        while (pulse.timePs < untilPs) {
            out.push_back(pulse);
            pulse.timePs += wholePs(random.exponential(meanPs));
        }
    }

private:
    Random random;
    double meanPs;
    Pulse pulse;
};

class PeriodicSource final : public EventSource {
public:
    PeriodicSource(const PeriodicSpec& spec, double amplitudeV, std::uint64_t seed)
        : EventSource(seed, amplitudeV, kWidestSigmas * spec.clock.jitterPs), periodic(spec),
          clock(spec.clock) {}

private:
    std::int64_t nextEventPs() const override { return clock.nextTickPs(); }
    void emitEvent() override {
        push(clock.nextTickPs() + spread(periodic.clock.jitterPs), periodic.input);
        clock.advance();
    }

    PeriodicSpec periodic;
    SourceClock clock;
};

class PairSource final : public EventSource {
public:
    PairSource(const PairsSpec& spec, double amplitudeV, std::uint64_t seed)
        : EventSource(seed, amplitudeV, kWidestSigmas * spec.sigmaPs - spec.delayPs), pairs(spec) {
        step();
    }

private:
    std::int64_t nextEventPs() const override { return next; }
    void emitEvent() override {
        const std::int64_t partner = next + std::llround(pairs.delayPs) + spread(pairs.sigmaPs);
        if (random.chance(pairs.efficiencies[0])) {
            push(next, pairs.inputs[0]);
        }
        if (random.chance(pairs.efficiencies[1])) {
            push(partner, pairs.inputs[1]);
        }
        step();
    }
    void step() {
        next = pairs.rateHz > 0 ? next + wholePs(random.exponential(1e12 / pairs.rateHz)) : kNever;
    }

    PairsSpec pairs;
    std::int64_t next = 0;
};

class DecaySource final : public EventSource {
public:
    DecaySource(const DecaySpec& spec, double amplitudeV, std::uint64_t seed)
        : EventSource(seed, amplitudeV,
                      kWidestSigmas * (spec.clock.jitterPs + spec.sigmaPs) + std::max(-spec.delayPs, 0.0)),
          decay(spec), clock(spec.clock) {}

private:
    std::int64_t nextEventPs() const override { return clock.nextTickPs(); }
    void emitEvent() override {
        const std::int64_t laser = clock.nextTickPs() + spread(decay.clock.jitterPs);
        push(laser, decay.syncInput);
        if (random.chance(decay.probability)) {
            const double photon = decay.delayPs + random.exponential(decay.lifetimePs);
            push(laser + wholePs(photon) + spread(decay.sigmaPs), decay.input);
        }
        clock.advance();
    }

    DecaySpec decay;
    SourceClock clock;
};

// A two-level emitter: each photon needs an excitation and a decay, both exponential, so that no two photons
// come together. Only the detected ones are made: the time over n undetected cycles is two gamma deviates.
class EmitterSource final : public EventSource {
public:
    EmitterSource(const EmitterSpec& spec, double amplitudeV, std::uint64_t seed)
        : EventSource(seed, amplitudeV, kWidestSigmas * spec.sigmaPs), emitter(spec),
          pumpPs(1e12 / spec.pumpRateHz), detection(spec.rateHz * 1e-12 * (pumpPs + spec.lifetimePs)) {
        step();
    }

private:
    std::int64_t nextEventPs() const override { return next; }
    void emitEvent() override {
        const std::size_t port = random.bits() >> 63;
        push(next + spread(emitter.sigmaPs), emitter.inputs[port]);
        step();
    }
    void step() {
        const double cycles = random.geometric(detection);
        next += wholePs(random.gamma(cycles) * pumpPs + random.gamma(cycles) * emitter.lifetimePs);
    }

    EmitterSpec emitter;
    double pumpPs;
    double detection; // probability that a photon is detected
    std::int64_t next = 0;
};

class BurstSource final : public EventSource {
public:
    BurstSource(const BurstsSpec& spec, double amplitudeV, std::uint64_t seed)
        : EventSource(seed, amplitudeV, kWidestSigmas * spec.clock.jitterPs), bursts(spec),
          clock(spec.clock) {}

private:
    std::int64_t nextEventPs() const override { return clock.nextTickPs(); }
    void emitEvent() override {
        const std::int64_t first = clock.nextTickPs() + spread(bursts.clock.jitterPs);
        for (int i = 0; i < bursts.pulses; ++i) {
            push(first + std::llround(bursts.spacingPs * i), bursts.input);
        }
        clock.advance();
    }

    BurstsSpec bursts;
    SourceClock clock;
};

struct Maker {
    double amplitudeV;
    std::uint64_t seed;

    using Made = std::unique_ptr<PulseSource>;
    Made operator()(const PoissonSpec& s) const {
        return std::make_unique<PoissonSource>(s, amplitudeV, seed);
    }
    Made operator()(const PeriodicSpec& s) const {
        return std::make_unique<PeriodicSource>(s, amplitudeV, seed);
    }
    Made operator()(const PairsSpec& s) const { return std::make_unique<PairSource>(s, amplitudeV, seed); }
    Made operator()(const DecaySpec& s) const { return std::make_unique<DecaySource>(s, amplitudeV, seed); }
    Made operator()(const EmitterSpec& s) const {
        return std::make_unique<EmitterSource>(s, amplitudeV, seed);
    }
    Made operator()(const BurstsSpec& s) const { return std::make_unique<BurstSource>(s, amplitudeV, seed); }
};

} // namespace

std::unique_ptr<PulseSource> makeSource(const SourceSpec& spec, std::uint64_t seed) {
    return std::visit(Maker{spec.amplitudeV, seed}, spec.kind);
}

} // namespace qorn::simulator
