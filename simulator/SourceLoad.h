// How much the sources of a unit ask of the machine that plays them: a scene in which a unit's sources
// together would fill the memory, or never get on, is refused when it is loaded.
#pragma once

#include "Scene.h"

#include <cstddef>

namespace qorn::simulator {

struct SourceLoad {
    double pulsesPerSecond = 0;
    double heldPulses = 0; // made before their time, because later ones may come out before them

    SourceLoad& operator+=(const SourceLoad& more);
};

// Upper bounds for the sources of a unit together: of the mean, and of their number. All are far above what
// any measurement needs.
inline constexpr double kMostPulsesPerSecond = 1e9;
inline constexpr double kMostHeldPulses = 1e7;
inline constexpr std::size_t kMostSources = 1000;

SourceLoad loadOf(const SourceSpec& source);

} // namespace qorn::simulator
