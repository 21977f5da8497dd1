// The "Device" menu and all that its entries do: calibration and settings of the open source. Joins their
// parts to the controller; the window follows the signals.
//
// Owned by the main window, GUI thread only.
#pragma once

#include "CalibrationWorkflow.h"
#include "ControllerDevicePorts.h"
#include "SettingsActions.h"
#include "StatusFlag.h"

#include <QObject>
#include <QString>

class QAction;
class QMenu;

namespace qorn::timetagger::gui {

class DeviceController;
struct ActionStates;

class DeviceActions : public QObject {
    Q_OBJECT
public:
    // `controller` and `window` outlive this, but for destruction. Fills `menu` with the entries.
    DeviceActions(DeviceController& controller, QMenu& menu, QWidget& window, QObject* parent = nullptr);

    // Which entries can be chosen.
    void setStates(const ActionStates& states);

    // What is to be set on the next device that opens.
    const ClockWish& clockWish() const { return settings.clockWish(); }

Q_SIGNALS:
    void messageShown(const QString& text, int milliseconds);
    void detailTextChanged(const QString& text);
    void calibrationIndicatorChanged(const QString& text, qorn::timetagger::gui::FlagState state);
    // Later measurements use this source, and maybe another stream format.
    void testSourceChosen(const qorn::timetagger::gui::TestSource& source);
    // Something changed on which the state of actions may depend.
    void stateChanged();

private:
    void fillMenu(QMenu& menu);
    void followController(DeviceController& controller);
    void forwardSignals();

    ControllerCalibrationPort calibrationPort;
    ControllerSettingsPort settingsPort;
    CalibrationWorkflow calibration;
    SettingsActions settings;
    QAction* calibrateAction = nullptr;
    QAction* clockSettingsAction = nullptr;
    QAction* networkRelayAction = nullptr;
    QAction* inputSettingsAction = nullptr;
    QAction* developerSettingsAction = nullptr;
};

} // namespace qorn::timetagger::gui
