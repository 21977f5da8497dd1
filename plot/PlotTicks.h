// Where the ticks of an axis stand and how their values read. Pure functions, any thread.
#pragma once

#include <QList>
#include <QString>

namespace qorn::timetagger::gui {

// Round positions inside [min, max], some `target` of them, ascending, never more than 201, and the decimals
// that their texts need. Empty with decimals 0 when the range is empty or not finite, or the target is 1 or
// less.
QList<double> niceTicks(double min, double max, int target, int& decimals);

// The value with at most that many decimals, trailing zeros removed, with a suffix k, M, G or T from 1000 on.
QString formatTick(double value, int decimals);

} // namespace qorn::timetagger::gui
