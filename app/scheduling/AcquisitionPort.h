// What the scheduler needs of the one acquisition: a small door to the controller.
#pragma once

#include "UiCoincidenceConfig.h"
#include "UiTimeTagRecordingConfig.h"

#include <QString>

namespace qorn::timetagger::gui {

class AcquisitionPort {
public:
    virtual ~AcquisitionPort() = default;

    virtual bool hasDevice() const = 0;
    virtual bool hasRelay() const = 0;
    virtual bool isCapturing() const = 0;
    // Text of the stream's path and format.
    virtual QString streamTransportText() const = 0;

    // Start a measurement; rates in Hz, gates in s. The end of any is told to the scheduler.
    virtual void startCapture(const QString& mode, double internalRateHz, int batchSize, quint8 channelMask,
                              int maxUiTagsPerSecond, const UiTimeTagRecordingConfig& recording) = 0;
    // Lets more tags per second come from the running capture, any with 0 or less; fewer change nothing.
    virtual void raiseTagBudget(int maxUiTagsPerSecond) = 0;
    virtual void startCounter(double gateSeconds, bool internalSource, double internalRateHz) = 0;
    virtual void startCoincidence(const UiCoincidenceConfig& config, bool internalSource,
                                  double internalRateHz) = 0;
    virtual void stopCapture() = 0;
    virtual void refreshClockStatus() = 0;
};

} // namespace qorn::timetagger::gui
