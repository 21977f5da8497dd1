// Shows what a calibration measured and asks what becomes of it: rows of checks in, a choice out. Shown
// modally by the calibration workflow; knows no instrument.
#pragma once

#include "UiCalChannelStat.h"

#include <QDialog>
#include <QList>

class QCheckBox;
class QTableWidget;

namespace qorn::timetagger::gui {

struct CalibrationChoice {
    bool applyNow = false;
    bool saveForFuture = false;

    bool operator==(const CalibrationChoice&) const = default;
};

class CalibrationResultDialog : public QDialog {
    Q_OBJECT
public:
    // Rows of inputs or delay lines that the instrument does not have are left out.
    explicit CalibrationResultDialog(const QList<UiCalChannelStat>& stats, QWidget* parent = nullptr);

    // What the boxes show. Counts only when the dialog was accepted.
    CalibrationChoice choice() const;

private:
    QTableWidget* buildTable(const QList<UiCalChannelStat>& stats);

    QCheckBox* applyBox = nullptr;
    QCheckBox* saveBox = nullptr;
};

} // namespace qorn::timetagger::gui
