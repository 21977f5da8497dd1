#include "StatisticsTable.h"

#include <QEvent>
#include <QHeaderView>

namespace qorn::timetagger::gui {
namespace {

enum Column { kLabel, kValue, kColumns };

constexpr int kRowPadding = 4; // above and below the text together
constexpr int kLeastRows = 3;
constexpr int kCellPadding = 24; // left and right of the text together
constexpr int kLeastValueWidth = 120;

} // namespace

StatisticsTable::StatisticsTable(QWidget* parent)
    : QTableWidget(static_cast<int>(CorrelationTexts::kRows), kColumns, parent) {
    setObjectName(QStringLiteral("statistics"));
    setHorizontalHeaderLabels({tr("Statistic"), tr("Value")});
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setTabKeyNavigation(false); // the tab key leads on to what follows
    setAlternatingRowColors(true);
    setWordWrap(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Maximum);
    for (int row = 0; row < rowCount(); ++row) {
        for (int column = 0; column < kColumns; ++column) {
            setItem(row, column, new QTableWidgetItem);
        }
    }
    horizontalHeader()->hide();
    horizontalHeader()->setSectionResizeMode(kLabel, QHeaderView::Fixed);
    horizontalHeader()->setSectionResizeMode(kValue, QHeaderView::Stretch);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setMinimumSectionSize(1);
    fitToFont();
    showRows(CorrelationTexts::emptyStatistics());
}

void StatisticsTable::fitToFont() {
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + kRowPadding);
    const QString widest = QStringLiteral("3-term Lorentzian fit");
    horizontalHeader()->resizeSection(kLabel, fontMetrics().horizontalAdvance(widest) + kCellPadding);
    updateGeometry();
}

void StatisticsTable::changeEvent(QEvent* event) {
    QTableWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        fitToFont();
    }
}

void StatisticsTable::showRows(const QList<StatisticsRow>& rows) {
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        setStatsValue(row, rows.at(row).label, rows.at(row).value);
    }
}

void StatisticsTable::setStatsValue(int row, const QString& label, const QString& value) {
    item(row, kLabel)->setText(label);
    item(row, kValue)->setText(value);
}

int StatisticsTable::heightOf(int rows) const {
    return 2 * frameWidth() + rows * verticalHeader()->defaultSectionSize();
}

QSize StatisticsTable::sizeHint() const {
    return {columnWidth(kLabel) + kLeastValueWidth, heightOf(rowCount())};
}

QSize StatisticsTable::minimumSizeHint() const {
    return {columnWidth(kLabel) + kLeastValueWidth, heightOf(kLeastRows)};
}

} // namespace qorn::timetagger::gui
