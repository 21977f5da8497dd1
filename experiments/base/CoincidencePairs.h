// The six pairs of inputs, in the order in which all tables, settings and logs have them.
#pragma once

#include <array>
#include <cstddef>

namespace qorn::timetagger::gui {

inline constexpr std::size_t kPairs = 6;

struct PairChannels {
    int first = 0; // inputs 0 to 3, first < second
    int second = 1;
};

inline constexpr std::array<PairChannels, kPairs> kPairChannels{
    {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}}};

// Index of the pair of two inputs, in either order; -1 for the same input twice or for inputs that do not
// exist.
constexpr int pairIndex(int a, int b) {
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const PairChannels channels = kPairChannels[pair];
        if ((channels.first == a && channels.second == b) || (channels.first == b && channels.second == a)) {
            return static_cast<int>(pair);
        }
    }
    return -1;
}

} // namespace qorn::timetagger::gui
