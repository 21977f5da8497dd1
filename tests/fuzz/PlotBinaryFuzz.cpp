// Any bytes as a plot file: refused with a text and without effect, or shown, and then every form that the
// plot is written in can be read again.
#include "FuzzTarget.h"
#include "PlotFile.h"

namespace {

using namespace qorn::timetagger::gui;
using qorn::testing::require;

PlotModel earlierPlot() {
    PlotModel plot;
    plot.xAxisLabel = QStringLiteral("earlier");
    plot.showBars({1, 2}, {3, 4}, 0.5);
    plot.tickPositions = {1};
    plot.manualRange = true;
    return plot;
}

void checkRefused(const PlotModel& plot, const QString& error) {
    const PlotModel earlier = earlierPlot();
    require(!error.isEmpty(), "a refusal has a text");
    require(encodePlot(plot) == encodePlot(earlier), "a refusal leaves the plot alone");
    require(plot.manualRange && plot.tickPositions == earlier.tickPositions && plot.view == earlier.view,
            "a refusal leaves view and ticks alone");
}

void checkShown(const PlotModel& plot) {
    require(plot.barXs.size() == plot.barHeights.size(), "bars have heights");
    require(plot.seriesXs.size() == plot.seriesYs.size(), "series have xs and ys");
    require(plot.overlayXs.size() == plot.overlayYs.size(), "overlays have xs and ys");
    require(plot.barWidth >= 0.0, "the bar width is a width");
    require(plot.tickPositions.isEmpty() && !plot.manualRange, "ticks and zoom of the earlier plot are gone");

    const QByteArray written = encodePlot(plot);
    PlotModel again;
    require(decodePlot(written, again, nullptr), "a written plot can be read");
    require(encodePlot(again) == written, "a plot comes back as it was");

    // Numbers that are none are refused there.
    PlotModel fromCsv = earlierPlot();
    QString error;
    if (!decodePlotCsv(encodePlotCsv(plot), fromCsv, &error))
        checkRefused(fromCsv, error);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const QByteArray file =
        QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size));
    PlotModel plot = earlierPlot();
    QString error;
    if (decodePlot(file, plot, &error))
        checkShown(plot);
    else
        checkRefused(plot, error);
    return 0;
}
