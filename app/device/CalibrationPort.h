// What the calibration workflow needs of the instrument: a small door to the controller. GUI thread only.
// What begins here is told by the controller's signals.
#pragma once

#include "UiCalChannelStat.h"

#include <QList>
#include <QString>

namespace qorn::timetagger::gui {

class CalibrationPort {
public:
    virtual ~CalibrationPort() = default;

    virtual bool hasDevice() const = 0;
    virtual QString calibrationFilePath() const = 0;
    virtual void uploadSavedCalibration() = 0;
    virtual void uploadCalibrationFile(const QString& path) = 0;
    virtual void runCalibration(unsigned long samples, unsigned long sweepSteps, double frequencyHz) = 0;
    virtual void cancelCalibration() = 0;
    virtual QList<UiCalChannelStat> calibrationStats() const = 0;
    // Blocks for the upload. `message` tells success and failure.
    virtual bool applyCalibration(bool upload, bool save, QString* message) = 0;
    virtual void refreshClockStatus() = 0;
};

} // namespace qorn::timetagger::gui
