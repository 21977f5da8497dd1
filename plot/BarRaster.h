// Paints many bars at once. A plain function of one paint, GUI thread.
//
// A rectangle with a border costs Qt some 30 microseconds, so a histogram of a thousand narrow bars would
// take longer than a frame. All edges here are upright: what covers a pixel follows from its column and its
// row alone.
#pragma once

#include <QColor>
#include <QRect>
#include <QRectF>

#include <span>

class QPainter;

namespace qorn::timetagger::gui {

struct BarStyle {
    QColor fill;
    QColor border;
    double borderWidth = 1.0;
};

// Gives, within `visible` (logical pixels), the antialiased picture of drawRect for each bar in turn with a
// solid pen. False, with nothing painted, where that is not worth it or not possible: few bars, bars that
// overlap many times, a painter that is rotated or off the pixel grid.
bool paintManyBars(QPainter& painter, const QRect& visible, std::span<const QRectF> bars,
                   const BarStyle& style);

} // namespace qorn::timetagger::gui
