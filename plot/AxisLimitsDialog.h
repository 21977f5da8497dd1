// Asks for exact axis limits: a view in, a view out when all four fields hold numbers and each minimum is
// below its maximum. Made by the plot for one question, GUI thread.
#pragma once

#include "PlotModel.h"

#include <QDialog>

#include <optional>

class QLabel;
class QLineEdit;

namespace qorn::timetagger::gui {

class AxisLimitsDialog : public QDialog {
    Q_OBJECT
public:
    explicit AxisLimitsDialog(const PlotView& view, QWidget* parent = nullptr);

    // The limits as they stand in the fields; nothing unless they make a view.
    std::optional<PlotView> limits() const;

private:
    void showValidity();

    QLineEdit* xMin = nullptr;
    QLineEdit* xMax = nullptr;
    QLineEdit* yMin = nullptr;
    QLineEdit* yMax = nullptr;
    QLabel* hint = nullptr;
};

} // namespace qorn::timetagger::gui
