// How the measurement tabs are laid out alike: controls on the left, plots that scroll on the right. GUI
// thread only; what is made belongs to the widget that it is put into.
//
// A tab is built from the outside to the inside, each part in its place: under a style sheet a widget that
// moves to another parent is styled anew with all that stands in it.
#pragma once

#include <QScrollArea>
#include <QSize>
#include <QString>

class QLabel;
class QSplitter;
class QVBoxLayout;
class QWidget;

namespace qorn::timetagger::gui {

class BarChartWidget;

// Shows a part that scrolls where there is no room for all of it. The part is made as a child of place(), and
// is taken in when the area is first styled: a scroll area measures what it takes, which styles all of it.
class LateScrollArea : public QScrollArea {
    Q_OBJECT
public:
    using QScrollArea::QScrollArea;

    QWidget* place() const { return viewport(); }

protected:
    bool event(QEvent* event) override;
};

// A part that scrolls where there is no room for `leastSize` (pixels) of it; to be made in place().
LateScrollArea* makeScrolling(QSize leastSize, QWidget* parent);

// Fills the tab with a splitter for two children: the first, the controls, keeps its width, the second, the
// results, takes the rest. Children of a splitter stand in the order in which they are made.
QSplitter* layOutBesideControls(QWidget* tab);

// Makes the results beside the controls: a column, with the distances that all tabs have.
QVBoxLayout* layOutResults(QSplitter* sides);

// The line "status" that tells what a measurement does: monospace, so that numbers that change stay in place.
QLabel* makeStatusLabel(QWidget* parent);

// A plot that is found by its object name.
BarChartWidget* makePlot(const char* name, QSize leastSize, QWidget* parent);

// Adds a plot below a muted caption to a splitter. The plot's parent holds the two, to be shown and hidden.
BarChartWidget* addCaptionedPlot(QSplitter* splitter, const QString& caption, const char* name,
                                 QSize leastSize, int stretch = 1);

} // namespace qorn::timetagger::gui
