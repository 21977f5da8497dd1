// Measures the fine calibration of an instrument: one delay line after the other, all inputs at once, and
// then how far apart the lines of an input are. Lives on the stack of the task that has the device.
#pragma once

#include "FineCalibration.h"
#include "FineCalibrationStats.h"
#include "UiCalChannelStat.h"

#include <QList>
#include <QString>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

namespace qorn::timing {
class Device;
}

namespace qorn::timetagger::gui {

struct CalibrationRequest {
    unsigned long samples = 0; // per delay line, all inputs together
    unsigned long sweepSteps = 0;
    double frequencyHz = 0.0; // of the generator, in the middle of the sweep
    std::vector<unsigned char> lines;
};

// The delay lines that are active on any input, ascending; line 0 when there is none.
std::vector<unsigned char> linesToCalibrate(const std::array<unsigned char, timing::kChannels>& tdlMasks);

struct CalibrationResult {
    timing::FineCalibration calibration; // without a serial
    QList<UiCalChannelStat> stats;       // by line, then by input
    QString summary;                     // to tell the operator
};

class CalibrationRun {
public:
    // Percent that are done, and what goes on. Called on the task's thread.
    using Progress = std::function<void(int percent, const QString& text)>;

    // All outlive the run. `cancel` may be set on any thread.
    CalibrationRun(timing::Device& device, const CalibrationRequest& request, const std::atomic<bool>& cancel,
                   const Progress& progress);

    // Throws timing::Error or std::runtime_error with the text to show: that of a failure, of a cancellation,
    // or of a calibration that got no samples.
    CalibrationResult measure();

private:
    using Times = std::vector<std::int64_t>; // in ps

    void measureLine(std::size_t stage, CalibrationResult& result);
    void report(std::size_t stage, unsigned long done, unsigned long total) const;
    void throwIfCanceled() const;

    timing::Device& device;
    const CalibrationRequest& request;
    const std::atomic<bool>& cancel;
    const Progress& progress;
    std::array<Times, timing::kChannels> reference; // what line 0 saw
};

} // namespace qorn::timetagger::gui
