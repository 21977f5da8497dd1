// Something in the scene that makes pulses. A source is a process of its own with its own random generator:
// what it makes depends on its description and seed alone, not on when or in which pieces it is asked.
#pragma once

#include "Pulse.h"
#include "Scene.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace qorn::simulator {

class PulseSource {
public:
    virtual ~PulseSource() = default;

    // Appends, in time order, the pulses that come before `untilPs` and were not appended before.
    virtual void generate(std::int64_t untilPs, std::vector<Pulse>& out) = 0;
};

std::unique_ptr<PulseSource> makeSource(const SourceSpec& spec, std::uint64_t seed);

} // namespace qorn::simulator
