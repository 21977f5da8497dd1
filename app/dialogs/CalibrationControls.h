// The three spin boxes of a calibration's settings ("duration", "rate", "steps"), for the dialogs that offer
// them under labels of their own. The boxes belong to the widget that they are laid out in.
#pragma once

#include "CalibrationSettings.h"

class QDoubleSpinBox;
class QSpinBox;
class QWidget;

namespace qorn::timetagger::gui {

struct CalibrationControls {
    CalibrationControls(const CalibrationSettings& initial, QWidget* parent);

    CalibrationSettings settings() const;

    QDoubleSpinBox* duration;
    QDoubleSpinBox* rate;
    QSpinBox* steps;
};

} // namespace qorn::timetagger::gui
