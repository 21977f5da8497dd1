// Thresholds, dead times and delay-line masks of the four inputs: the values kept, and their way to the
// device. Owned by the controller, used on the GUI thread while no task has the device.
#pragma once

#include "TimeTag.h"

#include <QString>

#include <array>
#include <cstdint>

namespace qorn::timing {
class Device;
}

namespace qorn::timetagger::gui {

struct InputSettings {
    std::array<double, timing::kChannels> thresholdsV{0.35, 0.35, 0.35, 0.35};
    std::array<double, timing::kChannels> deadTimesNs{}; // as applied; valid when deadTimesConfigured
    bool deadTimesConfigured = false;
    std::array<unsigned char, timing::kChannels> tdlMasks{7, 7, 7, 7}; // low three bits
};

// The DAC code of a threshold: the instrument's offset binary, 0 to 4 V over 65536 codes that wrap past the
// top; what is below 0 V counts as 0 V.
std::uint16_t thresholdDacCode(double volts);

// Dead times in whole picoseconds that may be sent, or false with a text in `error` (may be null).
bool toDeadTimesPs(const std::array<double, timing::kChannels>& ns,
                   std::array<std::int64_t, timing::kChannels>& ps, QString* error);

// Each sends one setting and, on success, keeps it. Throw timing::Error, and then keep what was.
void sendThresholds(timing::Device& device, const std::array<double, timing::kChannels>& volts,
                    InputSettings& settings);
void sendDeadTimes(timing::Device& device, const std::array<std::int64_t, timing::kChannels>& ps,
                   InputSettings& settings);
void sendTdlMasks(timing::Device& device, const std::array<unsigned char, timing::kChannels>& masks);

} // namespace qorn::timetagger::gui
