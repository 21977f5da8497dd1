#include "PlotColumn.h"

#include "BarChartWidget.h"

#include <QLabel>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {

PlotColumn::PlotColumn(BarChartWidget* plotWidget, QWidget* parent)
    : QWidget(parent), plot(plotWidget), column(new QVBoxLayout(this)) {
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addWidget(plot, 1);
}

void PlotColumn::addBelow(QWidget* widget) {
    column->addWidget(widget, 0);
}

BarChartWidget* PlotColumn::borrowPlot() {
    if (placeholder != nullptr) {
        return nullptr;
    }
    column->removeWidget(plot);
    placeholder = new QLabel(tr("Plot shown in split view"), this);
    placeholder->setObjectName(QStringLiteral("Muted"));
    placeholder->setAlignment(Qt::AlignCenter);
    column->insertWidget(0, placeholder, 1);
    return plot;
}

void PlotColumn::returnPlot() {
    if (placeholder == nullptr) {
        return;
    }
    column->removeWidget(placeholder);
    placeholder->hide();
    placeholder->deleteLater();
    placeholder = nullptr;
    plot->setParent(this);
    column->insertWidget(0, plot, 1);
    plot->show();
}

} // namespace qorn::timetagger::gui
