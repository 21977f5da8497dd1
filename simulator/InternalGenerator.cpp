#include "InternalGenerator.h"

#include "TimeBase.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qorn::simulator {

namespace {

// The undivided period is 1840000/57 ps, 30.97826086956522 MHz: kept as a fraction, so that it never drifts.
constexpr std::uint64_t kPeriodNumerator = 1'840'000;
constexpr std::uint64_t kPeriodDenominator = 57;
constexpr double kBaseHz = 57e12 / 1'840'000;

// What the lines from the generator to the inputs differ by, and how much its edges jitter.
constexpr std::array<std::int64_t, kInputs> kSkewPs{40, 170, 0, 95};
constexpr double kJitterPs = 4;
constexpr double kAmplitudeV = 100; // the generator enters behind the thresholds

} // namespace

std::uint32_t InternalGenerator::dividerFor(double frequencyHz) {
    return static_cast<std::uint32_t>(std::clamp(std::round(kBaseHz / frequencyHz), 1.0, 4294967295.0));
}

double InternalGenerator::frequencyOf(std::uint32_t divider) {
    return kBaseHz / divider;
}

InternalGenerator::InternalGenerator(std::uint32_t firstDivider, std::int64_t startPs, std::uint64_t seed)
    : EventSource(seed, kAmplitudeV, kWidestSigmas * kJitterPs), divider(firstDivider), next(startPs + 1000) {
}

void InternalGenerator::beginAnywhere() {
    next += static_cast<std::int64_t>(random.uniform() * kPeriodNumerator / kPeriodDenominator);
}

void InternalGenerator::sweep(std::uint32_t count, std::uint32_t periods) {
    sweepSteps = std::max(count, 1u);
    sweepPeriods = std::max(periods, 1u);
}

void InternalGenerator::emitEvent() {
    const std::int64_t edge = next + spread(kJitterPs);
    for (int input = 0; input < kInputs; ++input) {
        push(edge + kSkewPs[static_cast<std::size_t>(input)], input);
    }
    const std::uint64_t step = periodsDone++ / sweepPeriods % sweepSteps;
    remainder += (divider + step) * kPeriodNumerator;
    next += static_cast<std::int64_t>(remainder / kPeriodDenominator);
    remainder %= kPeriodDenominator;
}

} // namespace qorn::simulator
