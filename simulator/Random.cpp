#include "Random.h"

#include <cmath>

namespace qorn::simulator {

namespace {

std::uint64_t splitMix(std::uint64_t& x) {
    x += 0x9E3779B97F4A7C15u;
    std::uint64_t z = x;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
}

} // namespace

Random::Random(std::uint64_t seed) {
    for (std::uint64_t& word : state) {
        word = splitMix(seed);
    }
}

std::uint64_t Random::derive(std::uint64_t seed, std::uint64_t part) {
    std::uint64_t x = seed;
    const std::uint64_t first = splitMix(x);
    x = first ^ (part + 1) * 0xD1342543DE82EF95u;
    return splitMix(x);
}

std::uint64_t Random::derive(std::uint64_t seed, std::string_view part) {
    for (const char c : part) {
        seed = derive(seed, static_cast<unsigned char>(c));
    }
    return derive(seed, part.size());
}

double Random::exponential(double mean) {
    return -mean * std::log(1 - uniform());
}

double Random::gaussian() {
    if (hasSpare) {
        hasSpare = false;
        return spareGaussian;
    }
    double u = 0;
    double v = 0;
    double s = 0;
    do {
        u = 2 * uniform() - 1;
        v = 2 * uniform() - 1;
        s = u * u + v * v;
    } while (s >= 1 || s == 0);
    const double factor = std::sqrt(-2 * std::log(s) / s);
    spareGaussian = v * factor;
    hasSpare = true;
    return u * factor;
}

double Random::gamma(double shape) {
    // Marsaglia and Tsang's squeeze
    const double d = shape - 1.0 / 3.0;
    const double c = 1 / std::sqrt(9 * d);
    for (;;) {
        const double x = gaussian();
        const double base = 1 + c * x;
        if (base <= 0) {
            continue;
        }
        const double v = base * base * base;
        if (std::log1p(-uniform()) < 0.5 * x * x + d * (1 - v + std::log(v))) {
            return d * v;
        }
    }
}

double Random::geometric(double probability) {
    if (probability >= 1) {
        return 1;
    }
    return 1 + std::floor(std::log1p(-uniform()) / std::log1p(-probability));
}

} // namespace qorn::simulator
