#include "ProbeTab.h"

#include <QToolBar>

namespace qorn::testing {

QToolBar* ProbeTab::buildToolbar(bool withPlot, bool plotControls, bool splitAction) {
    if (withPlot) {
        plot = new BarChartWidget;
        place(plot);
    }
    QToolBar* built = createMeasurementToolbar(this, plotControls, splitAction);
    place(built);
    return built;
}

} // namespace qorn::testing
