// The doors of the device menu, filled by the controller.
#pragma once

#include "CalibrationPort.h"
#include "DeviceSettingsPort.h"

namespace qorn::timetagger::gui {

class DeviceController;

class ControllerSettingsPort final : public DeviceSettingsPort {
public:
    // `owner` outlives the port.
    explicit ControllerSettingsPort(DeviceController& owner) : controller(owner) {}

    bool hasDevice() const override;
    bool hasSource() const override;
    bool applyReferenceClock(const ClockWish& wish, QString* error) override;
    void refreshClockStatus() override;
    InputSettings inputSettings() const override;
    bool setThresholds(const Values& volts, QString* error) override;
    bool setDeadTimes(const Values& ns, Values& applied, QString* error) override;
    bool setTdlMasks(const std::array<unsigned char, timing::kChannels>& masks, QString* error) override;
    StreamSettings streamSettings() const override;
    void setStreamSettings(const StreamSettings& settings) override;
    relay::RelayServer::Stats relayStats() const override;
    bool setRelaySharing(bool enabled, quint16 streamPort, quint16 statusPort, QString* message) override;
    QString calibrationFilePath() const override;

private:
    DeviceController& controller;
};

class ControllerCalibrationPort final : public CalibrationPort {
public:
    // `owner` outlives the port.
    explicit ControllerCalibrationPort(DeviceController& owner) : controller(owner) {}

    bool hasDevice() const override;
    QString calibrationFilePath() const override;
    void uploadSavedCalibration() override;
    void uploadCalibrationFile(const QString& path) override;
    void runCalibration(unsigned long samples, unsigned long sweepSteps, double frequencyHz) override;
    void cancelCalibration() override;
    QList<UiCalChannelStat> calibrationStats() const override;
    bool applyCalibration(bool upload, bool save, QString* message) override;
    void refreshClockStatus() override;

private:
    DeviceController& controller;
};

} // namespace qorn::timetagger::gui
