#include "InputStage.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qorn::simulator {

namespace {

// The middle of each of `n` equally likely parts of a Gaussian, by bisection of its distribution.
double gaussianQuantile(double p) {
    double low = -8;
    double high = 8;
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2;
        (0.5 * std::erfc(-middle / std::sqrt(2.0)) < p ? low : high) = middle;
    }
    return (low + high) / 2;
}

template <std::size_t N>
std::array<double, N> gaussianSteps() {
    std::array<double, N> steps{};
    for (std::size_t i = 0; i < N; ++i) {
        steps[i] = gaussianQuantile((static_cast<double>(i) + 0.5) / N);
    }
    return steps;
}

} // namespace

double thresholdVolts(std::uint16_t dacCode) {
    const int code = (dacCode + 32768) % 65536;
    return code * 4.0 / 65535;
}

InputStage::InputStage(Timing how, std::int64_t offset, double lineJitterPs, std::uint8_t line,
                       std::uint64_t seed)
    : timing(how), offsetPs(offset), jitterOfOneLinePs(lineJitterPs), rawLine(line),
      inputs(std::make_unique<std::array<Input, kInputs>>()), randoms{Random(Random::derive(seed, 1)),
                                                                      Random(Random::derive(seed, 2)),
                                                                      Random(Random::derive(seed, 3)),
                                                                      Random(Random::derive(seed, 4))} {}

void InputStage::apply(const InputSettings& wanted, const DelayLines& lines) {
    static const auto kSteps = gaussianSteps<kJitterSteps>();
    for (int i = 0; i < kInputs; ++i) {
        const auto at = static_cast<std::size_t>(i);
        Input& input = (*inputs)[at];
        input.thresholdV = static_cast<float>(wanted.thresholdsV[at]);
        input.deadPs = wanted.deadTimesPs[at];
        if (timing == Timing::None) {
            continue;
        }
        const std::uint8_t active =
            timing == Timing::SingleLine ? std::uint8_t{1} : activeLines(wanted.tdlMasks[at]);
        const double sigma = jitterOfOneLinePs / std::sqrt(std::popcount(active));
        std::transform(kSteps.begin(), kSteps.end(), input.jitterPs.begin(),
                       [&](double step) { return static_cast<std::int16_t>(std::lround(step * sigma)); });
        if (timing == Timing::SingleLine) {
            input.lineOffsetPs = lines.offsetPs(i, rawLine);
        } else {
            input.timingErrorPs = lines.timingError(i, active);
        }
    }
}

void InputStage::process(std::span<const Pulse> pulses, std::uint8_t mask, std::vector<Tag>& out) {
    out.reserve(out.size() + pulses.size());
    for (const Pulse& pulse : pulses) {
        Input& input = (*inputs)[pulse.input];
        if (pulse.amplitudeV <= input.thresholdV) {
            continue;
        }
        if (input.hasAccepted && pulse.timePs - input.lastAcceptedPs < input.deadPs) {
            continue;
        }
        input.lastAcceptedPs = pulse.timePs;
        input.hasAccepted = true;
        if ((mask >> pulse.input & 1) == 0) {
            continue;
        }
        std::int64_t timePs = pulse.timePs + offsetPs;
        if (timing != Timing::None) {
            const std::uint64_t draw = randoms[pulse.input].bits() >> 32;
            timePs += input.jitterPs[draw % kJitterSteps];
            timePs = measure(input, timePs);
        }
        out.push_back({timePs, pulse.input});
    }
}

std::int64_t InputStage::measure(Input& input, std::int64_t timePs) {
    timePs = std::max<std::int64_t>(timePs + input.lineOffsetPs, 0);
    if (timing == Timing::Calibrated) {
        const std::int64_t behindTick = timePs % kTickPs;
        const std::int64_t phase = behindTick == 0 ? 0 : kTickPs - behindTick;
        timePs = std::max<std::int64_t>(timePs - input.timingErrorPs[static_cast<std::size_t>(phase)], 0);
    }
    input.lastTagPs = std::max(input.lastTagPs, timePs);
    return input.lastTagPs;
}

} // namespace qorn::simulator
