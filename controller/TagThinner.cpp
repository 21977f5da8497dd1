#include "TagThinner.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr std::chrono::milliseconds kWindow{100};
constexpr int kWindowsPerSecond = 10;

} // namespace

std::size_t TagThinner::Selection::index(std::size_t number) const {
    if (picked == available) {
        return number;
    }
    const double stride = static_cast<double>(available) / static_cast<double>(picked);
    return std::min(available - 1, static_cast<std::size_t>(static_cast<double>(number) * stride));
}

TagThinner::TagThinner(int maxTagsPerSecond, LoopClock::TimePoint start) : windowBegin(start) {
    setLimit(maxTagsPerSecond);
}

void TagThinner::setLimit(int maxTagsPerSecond) {
    budget = maxTagsPerSecond > 0
                 ? static_cast<std::size_t>(std::max(maxTagsPerSecond / kWindowsPerSecond, 1))
                 : 0;
}

TagThinner::Selection TagThinner::select(std::size_t available, LoopClock::TimePoint now) {
    if (budget == 0) {
        return {available, available};
    }
    if (now - windowBegin >= kWindow) {
        used = 0;
        windowBegin = now;
    }
    const std::size_t picked = std::min(available, budget - std::min(used, budget));
    used += picked;
    return {available, picked};
}

} // namespace qorn::timetagger::gui
