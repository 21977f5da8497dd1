// Asks for the thresholds and dead times of the four inputs, each for itself or one for all: values in,
// values out. Shown modally by the device menu; knows no instrument.
#pragma once

#include "TimeTag.h"

#include <QDialog>

#include <array>

class QCheckBox;
class QDoubleSpinBox;
class QGroupBox;

namespace qorn::timetagger::gui {

struct NumberRange;

struct InputChoice {
    std::array<double, timing::kChannels> thresholdsV{};
    std::array<double, timing::kChannels> deadTimesNs{}; // 0 is off

    bool operator==(const InputChoice&) const = default;
};

class InputSettingsDialog : public QDialog {
    Q_OBJECT
public:
    // Begins with a value for each input; the common ones are off and show input 1's.
    explicit InputSettingsDialog(const InputChoice& initial, QWidget* parent = nullptr);

    // The values as they are to be applied: the common one four times where that is ticked. Meant to be read
    // after acceptance.
    InputChoice choice() const;

private:
    using Values = std::array<double, timing::kChannels>;

    // The controls of one quantity. While the common value is on, the others are disabled.
    struct Quantity {
        QCheckBox* common = nullptr;
        QDoubleSpinBox* all = nullptr;
        std::array<QDoubleSpinBox*, timing::kChannels> each{};
    };
    // Of a quantity, in the names of its controls.
    struct Names {
        const char* plain;
        const char* capitalised;
    };

    QGroupBox* buildThresholds(const Values& volts);
    QGroupBox* buildDeadTimes(const Values& ns);
    Quantity buildQuantity(QGroupBox& group, const NumberRange& range, const Values& values,
                           const Names& names);
    static Values valuesOf(const Quantity& quantity);

    Quantity thresholds;
    Quantity deadTimes;
};

} // namespace qorn::timetagger::gui
