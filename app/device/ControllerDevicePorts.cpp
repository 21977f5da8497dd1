#include "ControllerDevicePorts.h"

#include "DeviceController.h"

namespace qorn::timetagger::gui {

bool ControllerSettingsPort::hasDevice() const {
    return controller.hasDevice();
}

bool ControllerSettingsPort::hasSource() const {
    return controller.hasSource();
}

bool ControllerSettingsPort::applyReferenceClock(const ClockWish& wish, QString* error) {
    return controller.applyReferenceClockConfig(wish.source, wish.signal, error);
}

void ControllerSettingsPort::refreshClockStatus() {
    controller.refreshClockStatus();
}

InputSettings ControllerSettingsPort::inputSettings() const {
    return controller.inputSettings();
}

bool ControllerSettingsPort::setThresholds(const Values& volts, QString* error) {
    return controller.setThresholds(volts, error);
}

bool ControllerSettingsPort::setDeadTimes(const Values& ns, Values& applied, QString* error) {
    return controller.setInputDeadTimesNs(ns, &applied, error);
}

bool ControllerSettingsPort::setTdlMasks(const std::array<unsigned char, timing::kChannels>& masks,
                                         QString* error) {
    return controller.setTdlMasks(masks, error);
}

StreamSettings ControllerSettingsPort::streamSettings() const {
    return controller.streamSettings();
}

void ControllerSettingsPort::setStreamSettings(const StreamSettings& settings) {
    controller.setStreamSettings(settings);
}

relay::RelayServer::Stats ControllerSettingsPort::relayStats() const {
    return controller.relayServerStats();
}

bool ControllerSettingsPort::setRelaySharing(bool enabled, quint16 streamPort, quint16 statusPort,
                                             QString* message) {
    return controller.setRelayServerEnabled(enabled, streamPort, statusPort, message);
}

QString ControllerSettingsPort::calibrationFilePath() const {
    return controller.calibrationFilePath();
}

bool ControllerCalibrationPort::hasDevice() const {
    return controller.hasDevice();
}

QString ControllerCalibrationPort::calibrationFilePath() const {
    return controller.calibrationFilePath();
}

void ControllerCalibrationPort::uploadSavedCalibration() {
    controller.uploadSavedCalibration();
}

void ControllerCalibrationPort::uploadCalibrationFile(const QString& path) {
    controller.uploadCalibrationFile(path);
}

void ControllerCalibrationPort::runCalibration(unsigned long samples, unsigned long sweepSteps,
                                               double frequencyHz) {
    controller.runCalibration(samples, sweepSteps, frequencyHz);
}

void ControllerCalibrationPort::cancelCalibration() {
    controller.cancelCalibration();
}

QList<UiCalChannelStat> ControllerCalibrationPort::calibrationStats() const {
    return controller.calibrationStats();
}

bool ControllerCalibrationPort::applyCalibration(bool upload, bool save, QString* message) {
    return controller.applyCalibration(upload, save, message);
}

void ControllerCalibrationPort::refreshClockStatus() {
    controller.refreshClockStatus();
}

} // namespace qorn::timetagger::gui
