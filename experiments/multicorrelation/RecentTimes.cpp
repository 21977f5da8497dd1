#include "RecentTimes.h"

namespace qorn::timetagger::gui {

void RecentTimes::clear() {
    times.clear();
    head = 0;
    steps.clear();
}

bool RecentTimes::append(qint64 timePs) {
    if (times.size() == 2 * kMostTimes) {
        makeRoom();
    }
    if (size() > 0 && timePs < times.back()) {
        steps.push_back(times.size());
    }
    times.push_back(timePs);
    if (size() <= kMostTimes) {
        return false;
    }
    ++head;
    afterDrop();
    return true;
}

void RecentTimes::forgetPassedSteps() {
    const auto firstHeld = times.empty() ? steps.end() : std::upper_bound(steps.begin(), steps.end(), head);
    steps.erase(steps.begin(), firstHeld);
}

void RecentTimes::makeRoom() {
    times.erase(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(head));
    for (std::size_t& step : steps) {
        step -= head;
    }
    head = 0;
}

} // namespace qorn::timetagger::gui
