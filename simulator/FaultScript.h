// Plays the faults that the scene asks of a unit: calls that fail or answer late, and the unplugging. Lives
// as long as the unit, over all its openings, and counts calls from the loading of the scene. Any thread may
// ask.
#pragma once

#include "Scene.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace qorn::simulator {

class FaultScript {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit FaultScript(const FaultsSpec& faults) : spec(faults) {}

    struct Verdict {
        std::int32_t status = 0; // other than 0: the call fails
        std::chrono::milliseconds delay{0};
    };
    Verdict onCall(std::string_view call, Time now);

    void onOpened(Time now); // only the first time counts

    // Whether the unit is on the bus, and whether it has been there without a break since `since`.
    bool plugged(Time now) const;
    bool pluggedSince(Time since, Time now) const;

private:
    std::optional<Time> unpluggedAt(Time now) const;

    FaultsSpec spec;
    mutable std::mutex mutex; // guards what follows
    std::map<std::string, std::uint64_t, std::less<>> callsSoFar;
    std::optional<Time> firstOpened;
    std::optional<Time> unpluggedByRead;
};

} // namespace qorn::simulator
