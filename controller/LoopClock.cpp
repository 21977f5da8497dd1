#include "LoopClock.h"

#include <thread>

namespace qorn::timetagger::gui {

LoopClock::TimePoint SystemLoopClock::now() {
    return std::chrono::steady_clock::now();
}

void SystemLoopClock::sleepFor(std::chrono::milliseconds duration) {
    std::this_thread::sleep_for(duration);
}

} // namespace qorn::timetagger::gui
