// Limits how many tags reach the GUI: a budget per window of 100 ms, and evenly spaced picks where a pass
// brings more than is left of it. A plain value; time is passed in.
#pragma once

#include "LoopClock.h"

#include <cstddef>

namespace qorn::timetagger::gui {

class TagThinner {
public:
    // Which of the tags of one pass go on: `picked` of `available`, in order.
    struct Selection {
        std::size_t available = 0;
        std::size_t picked = 0;
        // Index of pick `number`, 0 to picked - 1.
        std::size_t index(std::size_t number) const;
    };

    // A limit of 0 or less is no limit; the first window begins at `start`.
    TagThinner(int maxTagsPerSecond, LoopClock::TimePoint start);

    // Another limit from the next pass on.
    void setLimit(int maxTagsPerSecond);

    // Decides on a pass of `available` tags at the time `now`, and counts what it picks.
    Selection select(std::size_t available, LoopClock::TimePoint now);

private:
    std::size_t budget = 0; // per window; 0 is no limit
    std::size_t used = 0;
    LoopClock::TimePoint windowBegin;
};

} // namespace qorn::timetagger::gui
