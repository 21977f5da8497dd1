#include "DeviceActions.h"

#include "ActionStates.h"
#include "DeviceController.h"

#include <QAction>
#include <QMenu>

namespace qorn::timetagger::gui {

DeviceActions::DeviceActions(DeviceController& controller, QMenu& menu, QWidget& window, QObject* parent)
    : QObject(parent), calibrationPort(controller), settingsPort(controller),
      calibration(calibrationPort, window), settings(settingsPort, calibration, window) {
    fillMenu(menu);
    followController(controller);
    forwardSignals();
}

void DeviceActions::fillMenu(QMenu& menu) {
    calibrateAction = menu.addAction(tr("&Calibrate..."), &calibration, &CalibrationWorkflow::onCalibrate);
    clockSettingsAction =
        menu.addAction(tr("Clock settings..."), &settings, &SettingsActions::onClockSettings);
    networkRelayAction = menu.addAction(tr("Network relay..."), &settings, &SettingsActions::onNetworkRelay);
    inputSettingsAction =
        menu.addAction(tr("&Input settings..."), &settings, &SettingsActions::onInputSettings);
    menu.addSeparator();
    developerSettingsAction =
        menu.addAction(tr("De&veloper settings..."), &settings, &SettingsActions::onDeveloperSettings);
    developerSettingsAction->setToolTip(tr("TDL masks, calibration controls, and stream-format settings."));
    menu.setToolTipsVisible(true);
}

void DeviceActions::followController(DeviceController& controller) {
    connect(&controller, &DeviceController::calibrationStarted, &calibration,
            &CalibrationWorkflow::onCalibrationStarted);
    connect(&controller, &DeviceController::calibrationProgress, &calibration,
            &CalibrationWorkflow::onCalibrationProgress);
    connect(&controller, &DeviceController::calibrationFinished, &calibration,
            &CalibrationWorkflow::onCalibrationFinished);
    connect(&controller, &DeviceController::calibrationUploadStarted, &calibration,
            &CalibrationWorkflow::onUploadStarted);
    connect(&controller, &DeviceController::calibrationUploadFinished, &calibration,
            &CalibrationWorkflow::onUploadFinished);
    connect(&controller, &DeviceController::clockStatusChanged, &settings,
            &SettingsActions::onClockStatusChanged);
}

void DeviceActions::forwardSignals() {
    connect(&calibration, &CalibrationWorkflow::messageShown, this, &DeviceActions::messageShown);
    connect(&calibration, &CalibrationWorkflow::detailTextChanged, this, &DeviceActions::detailTextChanged);
    connect(&calibration, &CalibrationWorkflow::calibrationIndicatorChanged, this,
            &DeviceActions::calibrationIndicatorChanged);
    connect(&calibration, &CalibrationWorkflow::stateChanged, this, &DeviceActions::stateChanged);
    connect(&settings, &SettingsActions::messageShown, this, &DeviceActions::messageShown);
    connect(&settings, &SettingsActions::testSourceChosen, this, &DeviceActions::testSourceChosen);
}

void DeviceActions::setStates(const ActionStates& states) {
    calibrateAction->setEnabled(states.calibrate);
    clockSettingsAction->setEnabled(states.clockSettings);
    networkRelayAction->setEnabled(states.networkRelay);
    inputSettingsAction->setEnabled(states.inputSettings);
    developerSettingsAction->setEnabled(states.developerSettings);
}

} // namespace qorn::timetagger::gui
