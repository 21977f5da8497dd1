#include "PlotModel.h"

#include <algorithm>

namespace qorn::timetagger::gui {

void PlotModel::showBars(const QList<double>& xs, const QList<double>& heights, double width) {
    barXs = xs;
    barHeights = heights;
    // In this order NaN becomes 0.
    barWidth = std::max(0.0, width);
    seriesXs.clear();
    seriesYs.clear();
    seriesLabels.clear();
    seriesColors.clear();
    seriesMode = PlotSeriesMode::Bars;
}

void PlotModel::showSeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys,
                           const QStringList& labels, const QList<QColor>& colors, PlotSeriesMode mode) {
    seriesXs = xs;
    seriesYs = ys;
    seriesLabels = labels;
    seriesColors = colors;
    seriesMode = mode;
    barXs.clear();
    barHeights.clear();
}

void PlotModel::clearOverlays() {
    overlayXs.clear();
    overlayYs.clear();
    overlayLabels.clear();
    overlayColors.clear();
}

void PlotModel::clearData() {
    barXs.clear();
    barHeights.clear();
    seriesXs.clear();
    seriesYs.clear();
    seriesLabels.clear();
    seriesColors.clear();
    clearOverlays();
}

} // namespace qorn::timetagger::gui
