#include "CoincidenceTable.h"

#include "CoincidenceCounts.h"
#include "RateText.h"

#include <QHeaderView>
#include <QStyledItemDelegate>

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

enum Column { kMeasurement, kLastCount, kAccumulated, kRate, kColumns };

constexpr int kLeastRowPadding = 4; // above and below the text together
constexpr int kMostRowPadding = 12;
constexpr int kCellPadding = 16; // left and right of the text together
constexpr QChar kNarrowNoBreakSpace(0x202F);

// Shows the whole digits of a number in groups of three; the cell's text stays as it is.
class GroupedDigits final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QString displayText(const QVariant& value, const QLocale&) const override {
        constexpr qsizetype kGroup = 3;
        QString text = value.toString();
        qsizetype place = text.indexOf(QLatin1Char('.'));
        if (place < 0) {
            place = text.size();
        }
        for (place -= kGroup; place > 0; place -= kGroup) {
            text.insert(place, kNarrowNoBreakSpace);
        }
        return text;
    }
};

} // namespace

CoincidenceTable::CoincidenceTable(QWidget* parent) : QTableWidget(kCoincidenceCounts, kColumns, parent) {
    setObjectName(QStringLiteral("table"));
    setHorizontalHeaderLabels({tr("Measurement"), tr("Last Count"), tr("Accumulated"), tr("Rate (Hz)")});
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setTabKeyNavigation(false); // the tab key leads on to what follows
    setAlternatingRowColors(true);
    setWordWrap(false);
    const QStringList labels = countLabels();
    for (int row = 0; row < rowCount(); ++row) {
        setItem(row, kMeasurement, new QTableWidgetItem(tr("Ch %1").arg(labels.at(row))));
        for (int column = kLastCount; column < kColumns; ++column) {
            auto* cell = new QTableWidgetItem;
            cell->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            setItem(row, column, cell);
        }
    }
    auto* digits = new GroupedDigits(this);
    for (int column = kLastCount; column < kColumns; ++column) {
        setItemDelegateForColumn(column, digits);
        horizontalHeaderItem(column)->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    }
    horizontalHeaderItem(kMeasurement)->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setHighlightSections(false);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setMinimumSectionSize(1);
    verticalHeader()->hide();
    showGate({}, {});
}

void CoincidenceTable::showGate(const CoincidenceEngine::Gate& gate, const CoincidenceEngine::Counts& sums) {
    const auto last = countsInOrder(gate.counts);
    const auto accumulated = countsInOrder(sums);
    for (int row = 0; row < rowCount(); ++row) {
        const auto index = static_cast<std::size_t>(row);
        item(row, kLastCount)->setText(QString::number(last[index]));
        item(row, kAccumulated)->setText(QString::number(accumulated[index]));
        item(row, kRate)->setText(rateText(CoincidenceEngine::rate(last[index], gate)));
    }
    for (int column = 0; column < kColumns; ++column) {
        if (sizeHintForColumn(column) > columnWidth(column)) {
            fitColumns();
        }
    }
}

int CoincidenceTable::leastRowHeight() const {
    return fontMetrics().height() + kLeastRowPadding;
}

int CoincidenceTable::neededWidth(int column) const {
    return std::max(horizontalHeader()->sectionSizeHint(column), sizeHintForColumn(column));
}

QSize CoincidenceTable::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    int width = 2 * frameWidth() + neededWidth(kMeasurement);
    for (const auto& [column, number] :
         {std::pair(kLastCount, "999 999 999"), std::pair(kAccumulated, "9 999 999 999"),
          std::pair(kRate, "99 999 999")}) {
        width +=
            std::max(neededWidth(column), metrics.horizontalAdvance(QLatin1String(number)) + kCellPadding);
    }
    const int rows = rowCount() * leastRowHeight();
    return {width, 2 * frameWidth() + horizontalHeader()->sizeHint().height() + rows};
}

void CoincidenceTable::resizeEvent(QResizeEvent* event) {
    QTableWidget::resizeEvent(event);
    fitRows();
    fitColumns();
}

void CoincidenceTable::fitRows() {
    const int most = fontMetrics().height() + kMostRowPadding;
    verticalHeader()->setDefaultSectionSize(
        std::clamp(viewport()->height() / rowCount(), leastRowHeight(), most));
}

// Columns share what is left over; they scroll when there is less room than their texts need.
void CoincidenceTable::fitColumns() {
    std::array<int, kColumns> widths{};
    for (int column = 0; column < kColumns; ++column) {
        widths[static_cast<std::size_t>(column)] = neededWidth(column);
    }
    const int spare = std::max(viewport()->width() - std::accumulate(widths.begin(), widths.end(), 0), 0);
    for (int column = 0; column < kColumns; ++column) {
        const int share = spare * (column + 1) / kColumns - spare * column / kColumns;
        setColumnWidth(column, widths[static_cast<std::size_t>(column)] + share);
    }
}

} // namespace qorn::timetagger::gui
