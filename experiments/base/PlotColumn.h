// The column of a tab that holds its main plot, and a placeholder while the plot is lent to another window.
#pragma once

#include <QWidget>

class QLabel;
class QVBoxLayout;

namespace qorn::timetagger::gui {

class BarChartWidget;

class PlotColumn : public QWidget {
    Q_OBJECT
public:
    // Takes the plot as a child.
    explicit PlotColumn(BarChartWidget* plotWidget, QWidget* parent = nullptr);

    // Puts a widget below the plot.
    void addBelow(QWidget* widget);

    // Hands the plot out, for the caller to reparent; null while it is out already.
    BarChartWidget* borrowPlot();
    // Takes a lent plot back and shows it; nothing when it is not lent.
    void returnPlot();

private:
    BarChartWidget* plot;
    QVBoxLayout* column;
    QLabel* placeholder = nullptr; // stands exactly while the plot is lent
};

} // namespace qorn::timetagger::gui
