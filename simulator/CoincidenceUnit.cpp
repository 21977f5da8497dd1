#include "CoincidenceUnit.h"

#include <array>
#include <cstdlib>

namespace qorn::simulator {

namespace {

constexpr std::size_t kPairIndex[kInputs][kInputs] = {{6, 0, 1, 2}, {0, 6, 3, 4}, {1, 3, 6, 5}, {2, 4, 5, 6}};

// By the input that is missing.
constexpr std::array<std::size_t, kInputs> kTripleWithout{3, 2, 1, 0};

} // namespace

bool CoincidenceUnit::coincide(std::size_t a, std::size_t b) const {
    return std::abs(last[a] - last[b]) <= windowPs;
}

void CoincidenceUnit::add(std::span<const Tag> events) {
    for (const Tag& event : events) {
        add(event);
    }
}

void CoincidenceUnit::add(const Tag& event) {
    const std::size_t own = event.input;
    ++counts.singles[own];
    if ((mask >> own & 1) == 0) {
        return;
    }
    last[own] = event.timePs;
    seen[own] = true;
    std::array<std::size_t, kInputs> matched{};
    std::size_t matches = 0;
    for (std::size_t other = 0; other < kInputs; ++other) {
        if (other != own && seen[other] && coincide(own, other)) {
            ++counts.pairs[kPairIndex[own][other]];
            matched[matches++] = other;
        }
    }
    unsigned triples = 0;
    for (std::size_t a = 0; a < matches; ++a) {
        for (std::size_t b = a + 1; b < matches; ++b) {
            if (coincide(matched[a], matched[b])) {
                ++counts.triples[kTripleWithout[0 + 1 + 2 + 3 - own - matched[a] - matched[b]]];
                ++triples;
            }
        }
    }
    counts.quadruple += triples == 3 ? 1 : 0;
}

} // namespace qorn::simulator
