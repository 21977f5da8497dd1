// How rates are written: one decimal below 1000, none from there on.
#pragma once

#include <QString>

namespace qorn::timetagger::gui {

inline QString rateText(double value) {
    return QString::number(value, 'f', value < 1000.0 ? 1 : 0);
}

} // namespace qorn::timetagger::gui
