// Seeded random tag streams in true time: Poisson arrivals on each input, bursts and long gaps.
#pragma once

#include "TimeTag.h"

#include <cstdint>
#include <random>
#include <vector>

namespace qorn::testing {

// Random numbers that are the same with every standard library.
class RandomSource {
public:
    explicit RandomSource(std::uint64_t seed) : engine(seed) {}

    std::uint64_t bits() { return engine(); }
    // 0 to limit - 1; limit is above 0.
    std::uint64_t below(std::uint64_t limit) { return engine() % limit; }
    int between(int first, int last) {
        return first + static_cast<int>(below(static_cast<std::uint64_t>(last - first + 1)));
    }
    bool chance(double probability) { return unit() < probability; }
    // 0 to 1, without 1.
    double unit() { return static_cast<double>(engine() >> 11) * 0x1p-53; }
    double exponential(double mean);

private:
    std::mt19937_64 engine;
};

struct TagTraffic {
    std::uint64_t seed = 1;
    int mask = 15;                     // inputs with pulses, bit n is input n
    std::size_t count = 1000;          // tags of all inputs
    double mean_gap_ps = 1e6;          // between tags of one input
    std::int64_t start_ps = 1'000'000; // no tag before
    std::int64_t resolution_ps = 1;    // times are multiples of this
    double burst_chance = 0;           // that a tag follows its predecessor at the resolution's distance
    double pause_chance = 0;           // that all inputs fall silent after a tag
    std::int64_t pause_ps = 0;         // longest such silence
};

// Tags in order of time; times of one input rise strictly.
std::vector<timing::TimeTag> generateTags(const TagTraffic& traffic);

} // namespace qorn::testing
