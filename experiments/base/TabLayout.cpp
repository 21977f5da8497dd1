#include "TabLayout.h"

#include "BarChartWidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QSplitter>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kSideMargin = 6; // between controls and results
constexpr int kSpacing = 4;

} // namespace

QWidget* scrolling(QWidget* part, QSize leastSize) {
    auto* area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setMinimumSize(leastSize);
    area->setWidget(part);
    return area;
}

void layOutBesideControls(QWidget* tab, QWidget* controls, QWidget* results) {
    auto* splitter = new QSplitter(Qt::Horizontal, tab);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(controls);
    splitter->addWidget(results);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    auto* layout = new QHBoxLayout(tab);
    layout->addWidget(splitter);
}

QVBoxLayout* layOutResults(QWidget* results) {
    auto* layout = new QVBoxLayout(results);
    layout->setContentsMargins(kSideMargin, 0, 0, 0);
    layout->setSpacing(kSpacing);
    return layout;
}

BarChartWidget* makePlot(const char* name, QSize leastSize, QWidget* parent) {
    auto* plot = new BarChartWidget(parent);
    plot->setObjectName(QLatin1String(name));
    if (leastSize.isValid()) {
        plot->setMinimumSize(leastSize);
    }
    return plot;
}

QWidget* addCaptionedPlot(QSplitter* splitter, const QString& caption, BarChartWidget* plot, int stretch) {
    auto* cell = new QWidget(splitter);
    auto* layout = new QVBoxLayout(cell);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(kSpacing);
    auto* label = new QLabel(caption, cell);
    label->setObjectName(QStringLiteral("Muted"));
    layout->addWidget(label, 0);
    layout->addWidget(plot, 1);
    splitter->addWidget(cell);
    splitter->setStretchFactor(splitter->indexOf(cell), stretch);
    return cell;
}

} // namespace qorn::timetagger::gui
