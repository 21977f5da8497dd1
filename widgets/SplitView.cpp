#include "SplitView.h"

#include "ExperimentTypeText.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>

namespace qorn::timetagger::gui {

SplitView::SplitView(QWidget* parent) : QWidget(parent, Qt::Tool) {
    setWindowTitle(tr("Split view"));
    resize(900, 700);

    auto* toggle = new QPushButton(tr("Horizontal / Vertical"), this);
    toggle->setToolTip(tr("Toggle between side-by-side and stacked layout"));
    connect(toggle, &QPushButton::clicked, this, &SplitView::toggleOrientation);

    splitter = new QSplitter(Qt::Vertical, this);
    splitter->setChildrenCollapsible(false);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);
    layout->addWidget(toggle, 0, Qt::AlignLeft);
    layout->addWidget(splitter, 1);
}

SplitView::~SplitView() {
    returnAll();
}

void SplitView::addExperiment(ExperimentTab* tab) {
    if (contains(tab)) {
        bringToFront();
        return;
    }
    BarChartWidget* plot = tab != nullptr ? tab->borrowPlot() : nullptr;
    if (plot == nullptr) {
        return;
    }
    QWidget* cell = buildCell(experimentTypeText(tab->experimentType()), plot);
    splitter->addWidget(cell);
    entries.append({tab, plot, cell});
    connect(tab, &QObject::destroyed, cell, [this, cell] { removeCell(cell, false); });
    show();
    bringToFront();
}

QWidget* SplitView::buildCell(const QString& title, BarChartWidget* plot) {
    auto* cell = new QWidget(splitter);
    auto* label = new QLabel(title, cell);
    label->setObjectName(QStringLiteral("PageTitle"));
    auto* remove = new QPushButton(tr("Remove"), cell);
    remove->setAccessibleName(tr("Remove %1").arg(title));
    connect(remove, &QPushButton::clicked, this, [this, cell] { removeCell(cell, true); });

    auto* head = new QHBoxLayout;
    head->addWidget(label, 1);
    head->addWidget(remove);
    auto* layout = new QVBoxLayout(cell);
    layout->setContentsMargins(0, 4, 0, 4);
    layout->setSpacing(4);
    layout->addLayout(head);
    layout->addWidget(plot, 1);
    plot->show();
    return cell;
}

bool SplitView::contains(const ExperimentTab* tab) const {
    return tab != nullptr && std::any_of(entries.begin(), entries.end(),
                                         [tab](const Entry& entry) { return entry.tab == tab; });
}

void SplitView::removeEntry(int index, bool returnPlot) {
    if (index < 0 || index >= entries.size()) {
        return;
    }
    const Entry entry = entries.takeAt(index);
    if (returnPlot && entry.tab != nullptr) {
        giveBack(entry);
    }
    // The cell's own button may be what was pressed: the cell outlives the click, out of sight.
    entry.cell->hide();
    entry.cell->deleteLater();
    if (entries.isEmpty()) {
        hide();
    }
}

void SplitView::giveBack(const Entry& entry) {
    // A window that is being destroyed has left its focus chain already, and Qt cannot put a child into it.
    const bool homeIsDying = entry.tab->window()->nextInFocusChain() == nullptr;
    if (!homeIsDying || entry.plot == nullptr) {
        entry.tab->returnPlot();
        return;
    }
    // The tab dies with its window, and must not be left with a pointer to a plot that died before it.
    BarChartWidget* plot = entry.plot;
    plot->setParent(nullptr);
    connect(entry.tab, &QObject::destroyed, plot, [plot] { delete plot; });
}

void SplitView::removeExperiment(const ExperimentTab* tab) {
    const auto found =
        std::find_if(entries.begin(), entries.end(), [tab](const Entry& entry) { return entry.tab == tab; });
    removeEntry(int(found - entries.begin()), true);
}

void SplitView::removeCell(const QWidget* cell, bool returnPlot) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [cell](const Entry& entry) { return entry.cell == cell; });
    removeEntry(int(found - entries.begin()), returnPlot);
}

void SplitView::returnAll() {
    while (!entries.isEmpty()) {
        removeEntry(int(entries.size()) - 1, true);
    }
}

void SplitView::toggleOrientation() {
    splitter->setOrientation(splitter->orientation() == Qt::Horizontal ? Qt::Vertical : Qt::Horizontal);
}

void SplitView::closeEvent(QCloseEvent* event) {
    returnAll();
    QWidget::closeEvent(event);
}

void SplitView::bringToFront() {
    raise();
    activateWindow();
}

} // namespace qorn::timetagger::gui
