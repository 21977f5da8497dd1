#include "PlotGeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {

namespace {

constexpr int kLeftMargin = 64;
constexpr int kTopMargin = 16;
constexpr int kRightMargin = 16;
constexpr int kBottomMargin = 42;
constexpr int kSmallestSide = 10;

} // namespace

QRectF plotArea(QSize widget, int fontHeight, bool hasXLabel) {
    const int bottom = kBottomMargin + (hasXLabel ? fontHeight : 0);
    const int width = std::max(widget.width() - kLeftMargin - kRightMargin, kSmallestSide);
    const int height = std::max(widget.height() - kTopMargin - bottom, kSmallestSide);
    return QRectF(kLeftMargin, kTopMargin, width, height);
}

double repairedUpper(double lo, double hi) {
    if (lo < hi)
        return hi;
    // From 2^53 on one more is no other number.
    return std::max(lo + 1.0, std::nextafter(lo, std::numeric_limits<double>::max()));
}

double PlotMapping::pixelX(double value) const {
    return (value - view.xMin) / (view.xMax - view.xMin) * rect.width() + rect.x();
}

double PlotMapping::pixelY(double value) const {
    return rect.y() + rect.height() - (value - view.yMin) / (view.yMax - view.yMin) * rect.height();
}

double PlotMapping::valueX(double pixel) const {
    return (pixel - rect.x()) / std::max(1.0, rect.width()) * (view.xMax - view.xMin) + view.xMin;
}

double PlotMapping::valueY(double pixel) const {
    return view.yMax - (pixel - rect.y()) / std::max(1.0, rect.height()) * (view.yMax - view.yMin);
}

double PlotMapping::clampedPixelY(double value) const {
    return pixelY(std::min(std::max(value, view.yMin), view.yMax));
}

} // namespace qorn::timetagger::gui
