#include "PlotDataRange.h"

#include "PlotGeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {

namespace {

struct Limits {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    // In this order of arguments NaN changes nothing.
    void add(const QList<double>& values) {
        for (const double value : values) {
            low = std::min(low, value);
            high = std::max(high, value);
        }
    }
    void add(const QList<QList<double>>& lists) {
        for (const QList<double>& values : lists)
            add(values);
    }
    bool areFinite() const { return std::isfinite(low) && std::isfinite(high); }
};

} // namespace

std::optional<PlotView> dataRange(const PlotModel& plot) {
    Limits x;
    x.add(plot.barXs);
    x.add(plot.seriesXs);
    x.add(plot.overlayXs);
    Limits y;
    y.add(plot.barHeights);
    y.add(plot.seriesYs);
    y.add(plot.overlayYs);
    if (!x.areFinite() || !y.areFinite())
        return std::nullopt;
    return PlotView{x.low, x.high, y.low, y.high};
}

void showWholeData(PlotModel& plot) {
    plot.manualRange = false;
    const auto range = dataRange(plot);
    if (!range)
        return;
    plot.automaticRange = {range->xMin, repairedUpper(range->xMin, range->xMax), range->yMin,
                           repairedUpper(range->yMin, range->yMax)};
    plot.view = plot.automaticRange;
}

} // namespace qorn::timetagger::gui
