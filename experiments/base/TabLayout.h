// How the measurement tabs are laid out alike: controls on the left, plots that scroll on the right. GUI
// thread only; what is made belongs to the widget that it is put into.
#pragma once

#include <QSize>
#include <QString>

class QSplitter;
class QVBoxLayout;
class QWidget;

namespace qorn::timetagger::gui {

class BarChartWidget;

// A part of a tab that scrolls where there is no room for `leastSize` (pixels) of it, or for all of it.
QWidget* scrolling(QWidget* part, QSize leastSize);

// Fills the tab: the controls keep their width, the results take the rest, and a handle is between them.
void layOutBesideControls(QWidget* tab, QWidget* controls, QWidget* results);

// The column of the results, with the distances that all tabs have.
QVBoxLayout* layOutResults(QWidget* results);

// A plot that is found by its object name.
BarChartWidget* makePlot(const char* name, QSize leastSize = {}, QWidget* parent = nullptr);

// Adds a plot below a muted caption to a splitter, and gives the two as one widget, to be shown and hidden.
QWidget* addCaptionedPlot(QSplitter* splitter, const QString& caption, BarChartWidget* plot, int stretch = 1);

} // namespace qorn::timetagger::gui
