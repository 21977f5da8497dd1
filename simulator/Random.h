// A small seeded random generator (xoshiro256**) with the distributions that the scene needs. Each source and
// each input owns one, so that what one of them draws never shifts what another one sees.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace qorn::simulator {

class Random {
public:
    explicit Random(std::uint64_t seed);

    // A seed for a part of something that has a seed itself: the same every time, unrelated to its siblings'.
    static std::uint64_t derive(std::uint64_t seed, std::uint64_t part);
    static std::uint64_t derive(std::uint64_t seed, std::string_view part);

    std::uint64_t bits();
    double uniform();                     // in [0, 1)
    double exponential(double mean);      // mean above 0
    double gaussian();                    // mean 0, deviation 1
    double gamma(double shape);           // scale 1, shape at least 1
    double geometric(double probability); // trials up to the first success, at least 1
    bool chance(double probability) { return uniform() < probability; }

private:
    std::array<std::uint64_t, 4> state;
    double spareGaussian = 0;
    bool hasSpare = false;
};

inline std::uint64_t Random::bits() {
    const auto rotate = [](std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); };
    const std::uint64_t result = rotate(state[1] * 5, 7) * 9;
    const std::uint64_t shifted = state[1] << 17;
    state[2] ^= state[0];
    state[3] ^= state[1];
    state[1] ^= state[2];
    state[0] ^= state[3];
    state[2] ^= shifted;
    state[3] = rotate(state[3], 45);
    return result;
}

inline double Random::uniform() {
    return static_cast<double>(bits() >> 11) * 0x1.0p-53;
}

} // namespace qorn::simulator
