// How much a source of a scene asks of the machine that plays it: a scene that would fill the memory, or
// never get on, is refused when it is loaded.
#pragma once

#include "Scene.h"

namespace qorn::simulator {

struct SourceLoad {
    double pulsesPerSecond = 0;
    double heldPulses = 0; // made before their time, because later ones may come out before them
};

// Upper bounds of the mean; both are far above what any measurement needs.
inline constexpr double kMostPulsesPerSecond = 1e9;
inline constexpr double kMostHeldPulses = 1e7;

SourceLoad loadOf(const SourceSpec& source);

} // namespace qorn::simulator
