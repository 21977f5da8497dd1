// The Coincidence tab with its table, for its tests.
#pragma once

#include "CoincidenceTab.h"
#include "CountingStage.h"

#include <QTableView>

namespace qorn::testing {

class CoincidenceStage : public CountingStage<timetagger::gui::CoincidenceTab> {
public:
    QAbstractItemModel& table() const { return *control<QTableView>(tab, QStringLiteral("table")).model(); }
    QString cell(int row, int column) const {
        return table().index(row, column).data(Qt::DisplayRole).toString();
    }
    // A column of the table, top to bottom.
    QStringList column(int number) const {
        QStringList cells;
        for (int row = 0; row < table().rowCount(); ++row) {
            cells.append(cell(row, number));
        }
        return cells;
    }
    void setPairWindows(double ns) {
        for (int pair = 1; pair <= 6; ++pair) {
            number("pairWindowsNs", pair).setValue(ns);
        }
    }
    ShownPlot histogram() const { return shownBy(plot("histogramPlot")); }
    ShownPlot trace() const { return shownBy(plot("coincidenceTracePlot")); }
};

inline constexpr int kLastCount = 1; // columns of the table
inline constexpr int kAccumulated = 2;
inline constexpr int kRate = 3;

} // namespace qorn::testing
