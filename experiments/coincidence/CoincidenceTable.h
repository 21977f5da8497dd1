// The table of the Coincidence measurement: singles, pairs, triples and the quadruple, each with the count of
// the latest gate, the sum of all gates and the rate. Fills its room as far as that stays readable. A widget
// of its tab, GUI thread only.
#pragma once

#include "CoincidenceEngine.h"

#include <QTableWidget>

namespace qorn::timetagger::gui {

class CoincidenceTable : public QTableWidget {
    Q_OBJECT
public:
    explicit CoincidenceTable(QWidget* parent = nullptr);

    // Shows a gate and the sums; before the first gate all rates are 0.
    void showGate(const CoincidenceEngine::Gate& gate, const CoincidenceEngine::Counts& sums);

    // All rows, and columns with room for large counts.
    QSize sizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    int leastRowHeight() const;
    int neededWidth(int column) const;
    void fitRows();
    void fitColumns();
};

} // namespace qorn::timetagger::gui
