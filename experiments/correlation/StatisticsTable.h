// The strip of statistics below the plots: labels and values. A widget of its tab, GUI thread only.
#pragma once

#include "CorrelationTexts.h"

#include <QTableWidget>

namespace qorn::timetagger::gui {

class StatisticsTable : public QTableWidget {
    Q_OBJECT
public:
    explicit StatisticsTable(QWidget* parent = nullptr);

    // At most CorrelationTexts::kRows rows; the others stay.
    void showRows(const QList<StatisticsRow>& rows);

    // All rows.
    QSize sizeHint() const override;
    // A few rows; the others scroll.
    QSize minimumSizeHint() const override;

protected:
    void changeEvent(QEvent* event) override;

private:
    void fitToFont();
    void setStatsValue(int row, const QString& label, const QString& value);
    int heightOf(int rows) const;
};

} // namespace qorn::timetagger::gui
