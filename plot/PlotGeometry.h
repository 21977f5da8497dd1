// Where the plot area lies in the widget, and the mapping between axis units and widget pixels. Plain values,
// any thread.
#pragma once

#include "PlotModel.h"

#include <QRectF>
#include <QSize>

namespace qorn::timetagger::gui {

// The plot area of a widget of that size; an X axis label takes one more line of text. At least 10 by 10.
QRectF plotArea(QSize widget, int fontHeight, bool hasXLabel);

// The upper end of a range: hi, or lo + 1 unless lo is below hi. Always above a lo that leaves room for it.
double repairedUpper(double lo, double hi);

struct PlotMapping {
    PlotView view;
    QRectF rect;

    double pixelX(double value) const;
    double pixelY(double value) const;
    double valueX(double pixel) const;
    double valueY(double pixel) const;
    // Pixel of the value clamped to the view's Y range; NaN stays NaN.
    double clampedPixelY(double value) const;
};

} // namespace qorn::timetagger::gui
