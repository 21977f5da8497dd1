#include "TagGate.h"

#include "SaturatedTime.h"

#include <algorithm>

namespace qorn::timetagger::gui {

void TagGate::setLength(qint64 ps) {
    const qint64 wanted = std::max<qint64>(ps, 1);
    if (wanted != length) {
        length = wanted;
        close();
    }
}

void TagGate::openAt(qint64 timePs) {
    open = true;
    start = timePs;
    end = saturatedSum(timePs, length);
}

TagGate::Step TagGate::walkTo(qint64 timePs) {
    if (!open) {
        openAt(timePs);
        return {};
    }
    if (timePs < start) {
        if (saturatedDifference(start, timePs) <= kLongestStepBackPs) {
            return {}; // a late event counts in the open gate
        }
        openAt(timePs);
        return {0, true};
    }
    const qint64 ended = saturatedDifference(timePs, start) / length;
    if (ended > kMostGatesInARow) {
        openAt(timePs);
        return {1, true};
    }
    openAt(start + ended * length); // at most timePs
    return {ended, false};
}

} // namespace qorn::timetagger::gui
