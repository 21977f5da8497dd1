#include "InputSettings.h"

#include "Device.h"
#include "Driver.h"
#include "Error.h"
#include "TextOut.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
// Longest time that fits the driver's signed 64-bit picoseconds with room to round.
constexpr double kMostNs = 9.2e15;

} // namespace

std::uint16_t thresholdDacCode(double volts) {
    constexpr unsigned kMiddle = 32768;
    const double share = volts * 0.25;
    if (!(share >= 0.0)) {
        return kMiddle;
    }
    const auto steps = static_cast<unsigned>(std::floor(std::min(share, 1.0) * 65535.0 + 0.5));
    return static_cast<std::uint16_t>((steps + kMiddle) % 65536U);
}

bool toDeadTimesPs(const std::array<double, timing::kChannels>& ns,
                   std::array<std::int64_t, timing::kChannels>& ps, QString* error) {
    for (std::size_t input = 0; input < ns.size(); ++input) {
        if (!std::isfinite(ns[input]) || ns[input] < 0.0) {
            setText(error,
                    QCoreApplication::translate("InputSettings", "Input dead time must be zero or positive"));
            return false;
        }
        ps[input] = std::llround(std::min(ns[input], kMostNs) * kPsPerNs);
    }
    return true;
}

void sendThresholds(timing::Device& device, const std::array<double, timing::kChannels>& volts,
                    InputSettings& settings) {
    std::array<std::uint16_t, timing::kChannels> codes{};
    std::transform(volts.begin(), volts.end(), codes.begin(), thresholdDacCode);
    timing::detail::check(timing::driver().tt_set_dac_codes(device.handle, codes.data()), "set_dac_codes",
                          device.handle);
    settings.thresholdsV = volts;
}

void sendDeadTimes(timing::Device& device, const std::array<std::int64_t, timing::kChannels>& ps,
                   InputSettings& settings) {
    std::array<std::int64_t, timing::kChannels> applied{};
    const tt_status status =
        timing::driver().tt_set_input_dead_times(device.handle, ps.data(), applied.data());
    if (status != TT_OK) {
        throw timing::Error(status, timing::detail::failure_text(status, device.handle));
    }
    for (std::size_t input = 0; input < applied.size(); ++input) {
        settings.deadTimesNs[input] = static_cast<double>(applied[input]) / kPsPerNs;
    }
    settings.deadTimesConfigured = true;
}

void sendTdlMasks(timing::Device& device, const std::array<unsigned char, timing::kChannels>& masks) {
    timing::detail::check(timing::driver().tt_set_tdl_active_masks(device.handle, masks.data()),
                          "set_tdl_active_masks", device.handle);
}

} // namespace qorn::timetagger::gui
