#include "TabLayout.h"

#include "BarChartWidget.h"
#include "LateWidget.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QSplitter>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kSideMargin = 6; // between controls and results
constexpr int kSpacing = 4;

} // namespace

bool LateScrollArea::event(QEvent* event) {
    if (event->type() == QEvent::Polish && widget() == nullptr) {
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        if (auto* part = place()->findChild<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            setWidget(part);
        }
    }
    return QScrollArea::event(event);
}

LateScrollArea* makeScrolling(QSize leastSize, QWidget* parent) {
    auto* area = new LateScrollArea(parent);
    area->setMinimumSize(leastSize);
    return area;
}

QSplitter* layOutBesideControls(QWidget* tab) {
    auto* splitter = new QSplitter(Qt::Horizontal, tab);
    splitter->setChildrenCollapsible(false);
    auto* layout = new QHBoxLayout(tab);
    layout->addWidget(splitter);
    return splitter;
}

QVBoxLayout* layOutResults(QSplitter* sides) {
    auto* results = new LateWidget(sides);
    sides->setStretchFactor(sides->indexOf(results), 1);
    auto* layout = new QVBoxLayout(results);
    layout->setContentsMargins(kSideMargin, 0, 0, 0);
    layout->setSpacing(kSpacing);
    return layout;
}

QLabel* makeStatusLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(QStringLiteral("status"));
    QFont font = label->font();
    font.setFamily(QStringLiteral("monospace"));
    font.setStyleHint(QFont::Monospace);
    label->setFont(font);
    label->setWordWrap(true);
    return label;
}

BarChartWidget* makePlot(const char* name, QSize leastSize, QWidget* parent) {
    auto* plot = new BarChartWidget(parent);
    plot->setObjectName(QLatin1String(name));
    if (leastSize.isValid()) {
        plot->setMinimumSize(leastSize);
    }
    return plot;
}

BarChartWidget* addCaptionedPlot(QSplitter* splitter, const QString& caption, const char* name,
                                 QSize leastSize, int stretch) {
    auto* cell = new LateWidget(splitter);
    auto* layout = new QVBoxLayout(cell);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(kSpacing);
    auto* label = new QLabel(caption, cell);
    label->setObjectName(QStringLiteral("Muted"));
    layout->addWidget(label, 0);
    BarChartWidget* plot = makePlot(name, leastSize, cell);
    layout->addWidget(plot, 1);
    splitter->setStretchFactor(splitter->indexOf(cell), stretch);
    return plot;
}

} // namespace qorn::timetagger::gui
