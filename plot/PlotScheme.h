// Colour schemes of the plot and the rules that choose a colour. Pure functions, GUI thread (palettes).
#pragma once

#include "PlotModel.h"

#include <QColor>
#include <QPalette>

namespace qorn::timetagger::gui {

// The scheme of exactly that name; any other name gives a scheme that decides nothing.
PlotScheme plotScheme(const QString& name);

// Colours in force while painting.
struct PlotColors {
    QColor background;
    QColor foreground;
    QColor grid;
    QColor tick;
};
PlotColors plotColors(const PlotScheme& scheme, const QPalette& palette);

// Colour of member `index` of a set of series: the scheme's palette from `offset` on, else the set's own
// colour, else the fallback.
QColor seriesColorInForce(const QList<QColor>& schemePalette, qsizetype offset, const QList<QColor>& own,
                          qsizetype index, const QColor& fallback);

// As many colours as that for series that come without: `first` and others as strong, of hues apart from it
// and from each other; they repeat after a dozen.
QList<QColor> distinctColors(const QColor& first, qsizetype count);

// Colour of a main series.
QColor mainSeriesColor(const PlotModel& model, qsizetype index);

} // namespace qorn::timetagger::gui
