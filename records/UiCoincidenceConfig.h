// What a coincidence measurement asks for.
#pragma once

#include <QtGlobal>

#include <array>

namespace qorn::timetagger::gui {

struct UiCoincidenceConfig {
    double gateSeconds = 1.0;
    std::array<qint64, 6> pairWindowsPs{}; // 12, 13, 14, 23, 24, 34
    std::array<qint64, 4> offsetsPs{};     // delay per input
    quint8 channelMask = 15;               // bit 0 is input 0
};

} // namespace qorn::timetagger::gui
