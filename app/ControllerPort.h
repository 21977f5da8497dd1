// The scheduler's door to the acquisition, filled by the controller.
#pragma once

#include "AcquisitionPort.h"

namespace qorn::timetagger::gui {

class DeviceController;

class ControllerPort final : public AcquisitionPort {
public:
    // `owner` outlives the port.
    explicit ControllerPort(DeviceController& owner) : controller(owner) {}

    bool hasDevice() const override;
    bool hasRelay() const override;
    bool isCapturing() const override;
    QString streamTransportText() const override;
    void startCapture(const QString& mode, double internalRateHz, int batchSize, quint8 channelMask,
                      int maxUiTagsPerSecond, const UiTimeTagRecordingConfig& recording) override;
    void raiseTagBudget(int maxUiTagsPerSecond) override;
    void startCounter(double gateSeconds, bool internalSource, double internalRateHz) override;
    void startCoincidence(const UiCoincidenceConfig& config, bool internalSource,
                          double internalRateHz) override;
    void stopCapture() override;
    void refreshClockStatus() override;

private:
    DeviceController& controller;
};

} // namespace qorn::timetagger::gui
