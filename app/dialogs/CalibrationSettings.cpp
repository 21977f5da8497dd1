#include "CalibrationSettings.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kLeastSeconds = 0.05;
constexpr double kHzPerKhz = 1000.0;
constexpr double kLeastHz = 1.0;

} // namespace

unsigned long samplesPerSweep(const CalibrationSettings& settings) {
    const double samples = std::max(settings.durationSeconds, kLeastSeconds) * generatorHz(settings);
    return static_cast<unsigned long>(std::max(std::round(samples), 1.0));
}

double generatorHz(const CalibrationSettings& settings) {
    return std::max(settings.rateKhz * kHzPerKhz, kLeastHz);
}

} // namespace qorn::timetagger::gui
