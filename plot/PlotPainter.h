// Paints a whole plot, in one pass. Made for one paint event; GUI thread.
#pragma once

#include "PlotGeometry.h"
#include "PlotModel.h"
#include "PlotScheme.h"

#include <QFontMetrics>
#include <QRectF>
#include <QSize>

class QPainter;

namespace qorn::timetagger::gui {

class PlotPainter {
public:
    // The painter has the plot's font, `metrics` are those of that font.
    PlotPainter(QPainter& painter, const PlotModel& model, const QPalette& palette,
                const QFontMetrics& metrics, QSize size, const QRectF& plot);

    void paint();

private:
    void drawYTicks();
    void drawData();
    void drawXTicks();
    void drawXTick(double x, const QString& text, double halfWidth);
    void drawTitles();

    QPainter& painter;
    const PlotModel& model;
    PlotMapping mapping;
    PlotColors colors;
    QFontMetrics metrics;
    QSize size;
};

} // namespace qorn::timetagger::gui
