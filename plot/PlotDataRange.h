// The range of a plot's data. Pure functions over the plot's record, any thread.
#pragma once

#include "PlotModel.h"

#include <optional>

namespace qorn::timetagger::gui {

// Lowest and highest X and Y of all bars, series and overlays, NaN left out. Empty when there is no point, or
// when a limit is infinite.
std::optional<PlotView> dataRange(const PlotModel& plot);

// Makes the data's range, where there is one, automatic range and view, and forgets what the operator zoomed
// into. An axis with all values equal is repaired as by BarChartWidget::setXRange().
void showWholeData(PlotModel& plot);

} // namespace qorn::timetagger::gui
