// Any text as a plot's data: refused with a text and without effect, or shown, and then what is written of it
// reads the same.
#include "FuzzTarget.h"
#include "PlotFile.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace qorn::timetagger::gui;
using qorn::testing::require;

// Numbers above have 16 digits that may be beyond the largest number.
constexpr double kSafelyWritten = 1.797e308;

bool areWritable(const QList<QList<double>>& lists) {
    return std::all_of(lists.begin(), lists.end(), [](const QList<double>& values) {
        return std::all_of(values.begin(), values.end(),
                           [](double value) { return std::abs(value) < kSafelyWritten; });
    });
}

bool isFinite(const PlotView& view) {
    return std::isfinite(view.xMin) && std::isfinite(view.xMax) && std::isfinite(view.yMin) &&
           std::isfinite(view.yMax);
}

void checkShown(const PlotModel& plot) {
    const bool bars = plot.seriesMode == PlotSeriesMode::Bars;
    require(bars ? !plot.barXs.isEmpty() && plot.seriesXs.isEmpty() : !plot.seriesXs.isEmpty(),
            "there is data");
    require(plot.barXs.size() == plot.barHeights.size(), "bars have heights");
    require(plot.seriesLabels.size() == plot.seriesXs.size(), "series have names");
    require(plot.overlayXs.isEmpty() && plot.markerValues.isEmpty(), "nothing of the earlier plot is left");
    require(isFinite(plot.view), "the view is of numbers");

    // A series without a name is written with one, which another series may have.
    if (plot.seriesLabels.contains(QString()) || !areWritable(plot.seriesXs) || !areWritable(plot.seriesYs) ||
        !areWritable({plot.barXs, plot.barHeights}))
        return;
    const QString written = encodePlotCsv(plot);
    PlotModel again;
    require(decodePlotCsv(written, again, nullptr), "a written text can be read");
    require(encodePlotCsv(again) == written, "a text comes back as it was");
    require(again.seriesLabels == plot.seriesLabels, "names come back as they were");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size));
    PlotModel plot;
    plot.showBars({1, 2}, {3, 4}, 0.5);
    plot.overlayXs = plot.overlayYs = {{5}};
    plot.markerValues = {6};
    const QByteArray earlier = encodePlot(plot);
    QString error;
    if (decodePlotCsv(text, plot, &error)) {
        checkShown(plot);
    } else {
        require(!error.isEmpty(), "a refusal has a text");
        require(encodePlot(plot) == earlier, "a refusal leaves the plot alone");
    }
    return 0;
}
