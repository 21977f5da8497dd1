// A tab of the shared base alone, with as much of it as a test wants.
#pragma once

#include "BarChartWidget.h"
#include "ExperimentTab.h"

#include <QVBoxLayout>

namespace qorn::testing {

class ProbeTab : public timetagger::gui::ExperimentTab {
public:
    using BarChartWidget = timetagger::gui::BarChartWidget;

    explicit ProbeTab(QString typeName = QStringLiteral("Probe")) : type(std::move(typeName)) {}

    QString experimentType() const override { return type; }
    BarChartWidget* plotWidget() const override { return plot; }

    // A column with a plot that can be lent.
    QWidget* buildColumn() {
        plot = new BarChartWidget;
        QWidget* column = createPlotColumn(plot);
        place(column);
        return column;
    }
    // A toolbar alone; with a plot that stands beside it.
    QToolBar* buildToolbar(bool withPlot, bool plotControls, bool splitAction);

private:
    void place(QWidget* widget) {
        if (layout() == nullptr) {
            setLayout(new QVBoxLayout);
        }
        layout()->addWidget(widget);
    }

    QString type;
    BarChartWidget* plot = nullptr;
};

} // namespace qorn::testing
