// What the hardware coincidence engine can count: one window for all pairs, and a window and delays on the
// grid of its 300 MHz clock. Pure functions, for those who ask before a start and for the loop that starts.
#pragma once

#include "TimeTag.h"
#include "UiCoincidenceConfig.h"

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace qorn::timetagger::gui {

// The clock cycles of a time in ps that lies within half a picosecond of a whole number of them. In extended
// precision: a cycle is 10000/3 ps.
inline std::optional<qint64> cyclesOnGrid(qint64 ps) {
    constexpr long double kPsPerSecond = 1e12L;
    constexpr long double kTolerancePs = 0.5L;
    const auto wanted = static_cast<long double>(ps);
    const long double cycles = std::round(wanted * timing::kClockHz / kPsPerSecond);
    if (std::abs(cycles * kPsPerSecond / timing::kClockHz - wanted) > kTolerancePs) {
        return std::nullopt;
    }
    return static_cast<qint64>(cycles);
}

inline bool haveOneWindow(const UiCoincidenceConfig& config) {
    const auto& windows = config.pairWindowsPs;
    return std::all_of(windows.begin(), windows.end(), [&](qint64 window) { return window == windows[0]; });
}

// Whether the delay register holds a delay of so many ps, on the grid or not.
inline bool isHardwareDelayRange(qint64 ps) {
    return ps >= std::numeric_limits<qint32>::min() && ps <= std::numeric_limits<qint32>::max();
}

// Cycles of a coincidence window, 1 to 2^32 - 1; a window below 1 ps counts as 1 ps. None off the grid.
inline std::optional<quint32> windowCycles(qint64 windowPs) {
    const std::optional<qint64> cycles = cyclesOnGrid(std::max<qint64>(windowPs, 1));
    if (!cycles || *cycles < 1 || *cycles > std::numeric_limits<quint32>::max()) {
        return std::nullopt;
    }
    return static_cast<quint32>(*cycles);
}

// Whether the hardware can count what is asked for; else it takes the tag stream.
inline bool hardwareCanCount(const UiCoincidenceConfig& config) {
    return haveOneWindow(config) && windowCycles(config.pairWindowsPs[0]) &&
           std::all_of(config.offsetsPs.begin(), config.offsetsPs.end(),
                       [](qint64 offset) { return isHardwareDelayRange(offset) && cyclesOnGrid(offset); });
}

} // namespace qorn::timetagger::gui
