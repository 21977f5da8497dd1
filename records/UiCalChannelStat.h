// Result of a calibration for one delay line of one input.
#pragma once

#include <QtGlobal>

namespace qorn::timetagger::gui {

struct UiCalChannelStat {
    int delayLine = 0;
    int input = 0; // 0 to 3
    quint64 samples = 0;
    quint64 uniqueCodes = 0;
    double resolutionPs = 0.0;
    bool lutApplied = false;
};

} // namespace qorn::timetagger::gui
