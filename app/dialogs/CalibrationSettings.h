// How a calibration is measured, as the operator sets it. Plain values, free for any thread.
#pragma once

namespace qorn::timetagger::gui {

struct CalibrationSettings {
    double durationSeconds = 0.1; // of a sweep
    double rateKhz = 100.0;       // of the generator, in the middle of a sweep
    int frequencySteps = 72;      // of a sweep; 1 stays at one frequency

    bool operator==(const CalibrationSettings&) const = default;
};

// How many tags a sweep takes, at least 1.
unsigned long samplesPerSweep(const CalibrationSettings& settings);
// The generator's frequency in Hz, at least 1.
double generatorHz(const CalibrationSettings& settings);

} // namespace qorn::timetagger::gui
