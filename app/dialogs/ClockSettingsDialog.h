// Asks for timebase and clock output: the wish of before in, the new one out. Shown modally by the device
// menu; knows no instrument.
#pragma once

#include "ClockWish.h"
#include "UiClockStatus.h"

#include <QDialog>

class QComboBox;

namespace qorn::timetagger::gui {

class ClockSettingsDialog : public QDialog {
    Q_OBJECT
public:
    // `current` is the last state that is known of the clock; a muted line tells it.
    ClockSettingsDialog(const ClockWish& initial, const UiClockStatus& current, QWidget* parent = nullptr);

    // What the controls show. Meant to be read after acceptance.
    ClockWish wish() const;

private:
    QComboBox* sourceBox = nullptr;
    QComboBox* outputBox = nullptr;
};

} // namespace qorn::timetagger::gui
