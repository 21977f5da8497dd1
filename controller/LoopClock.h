// The time of a measurement loop: now, and waiting. Passed in, so that rules with durations are tested
// without waiting for them.
#pragma once

#include <chrono>

namespace qorn::timetagger::gui {

class LoopClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~LoopClock() = default;
    virtual TimePoint now() = 0;
    virtual void sleepFor(std::chrono::milliseconds duration) = 0;
};

// The steady clock of the system.
class SystemLoopClock final : public LoopClock {
public:
    TimePoint now() override;
    void sleepFor(std::chrono::milliseconds duration) override;
};

} // namespace qorn::timetagger::gui
