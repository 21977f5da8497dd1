#include "FineCalibrationRun.h"

#include "CodeDensity.h"
#include "Device.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>

namespace qorn::timing {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kTagTimeout = 2000ms;
constexpr double kGeneratorHz = 30978260.86956522; // with a divider of 1

// Distances of a sweep's dividers from the middle one, mostly prime: none of them keeps step with the coarse
// clock.
constexpr std::array<int, 33> kOffsets{0,   1,  -1,  2,  -2,  3,   -3,  4,   -4,  5,   -5,
                                       7,   -7, 9,   -9, 11,  -11, 13,  -13, 17,  -17, 19,
                                       -19, 23, -23, 29, -29, 31,  -31, 37,  -37, 41,  -41};

constexpr unsigned long kMostFirmwareSteps = 255;
constexpr unsigned long kLongestUsualDwell = 256;
constexpr unsigned long kLongestDwell = 65535;

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : std::string_view();
}

bool is_set(const char* name) {
    const std::string_view value = environment(name);
    return !value.empty() && std::string_view("0nNfF").find(value.front()) == std::string_view::npos;
}

// A whole number in decimal, octal ("0...") or hexadecimal ("0x..."); the largest one when it is larger.
std::optional<unsigned long> parsed_number(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text.front() == '0') {
        base = 8;
    }
    unsigned long value = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value, base);
    if (stopped != end || error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    return error == std::errc() ? value : std::numeric_limits<unsigned long>::max();
}

unsigned long firmware_dwell(const FineCalibrationRun::Request& request, unsigned long steps) {
    const auto wanted = parsed_number(environment("QORN_CAL_SWEEP_DWELL"));
    if (wanted && *wanted != 0) {
        return std::min(*wanted, kLongestDwell);
    }
    if (request.sweep_steps <= 1) {
        return 1;
    }
    const unsigned long per_input = std::max(request.samples / kChannels, 1UL);
    return std::clamp(per_input / steps, 1UL, kLongestUsualDwell);
}

// The divider nearest to a frequency. What no divider reaches gets the nearest one that there is.
std::int64_t center_divider(double frequency_hz) {
    constexpr double kLargest = std::numeric_limits<std::uint32_t>::max();
    const double divider = std::trunc(kGeneratorHz / frequency_hz + 0.5);
    return static_cast<std::int64_t>(divider >= 1.0 ? std::min(divider, kLargest) : 1.0);
}

} // namespace

FineCalibrationRun::FineCalibrationRun(Device& calibrated, const Request& wanted,
                                       FineCalibrationCapture& codes, const CalibrationProgress& steps)
    : device(calibrated), request(wanted), capture(codes), progress(steps) {}

void FineCalibrationRun::sweep() {
    const unsigned long per_input = std::max(request.samples / kChannels, 1UL);
    for (std::size_t input = 0; input < kChannels; ++input) {
        capture.coarse[input].clear();
        capture.fine[input].clear();
        capture.coarse[input].reserve(per_input);
        capture.fine[input].reserve(per_input);
    }
    if (is_set("QORN_CAL_FPGA_SWEEP") && !is_set("QORN_CAL_HOST_SWEEP")) {
        sweep_by_firmware();
    } else {
        sweep_by_host();
    }
}

void FineCalibrationRun::sweep_by_firmware() {
    report(0, 1);
    const unsigned long steps = std::min(std::max(request.sweep_steps, 1UL), kMostFirmwareSteps);
    const unsigned long dwell = firmware_dwell(request, steps);
    add(device.stream_calibration_tags(request.samples, request.frequency_hz, request.tdl_index, kTagTimeout,
                                       Transport::Usb, static_cast<unsigned char>(steps),
                                       static_cast<unsigned short>(dwell)));
    report(1, 1);
}

void FineCalibrationRun::sweep_by_host() {
    const unsigned long steps = std::max(request.sweep_steps, 1UL);
    const unsigned long per_step = std::max((request.samples + (steps - 1)) / steps, 1UL);
    const std::int64_t center = center_divider(request.frequency_hz);
    for (unsigned long step = 0; step < steps; ++step) {
        const std::int64_t divider = std::max<std::int64_t>(center + kOffsets[step % kOffsets.size()], 1);
        add(device.stream_calibration_tags(per_step, kGeneratorHz / static_cast<double>(divider),
                                           request.tdl_index, kTagTimeout, Transport::Usb, 0, 0));
        report(step + 1, steps);
    }
}

void FineCalibrationRun::add(std::span<const CalibrationTag> tags) {
    for (const CalibrationTag& tag : tags) {
        capture.coarse[tag.channel].push_back(tag.coarse);
        capture.fine[tag.channel].push_back(tag.fine);
    }
}

void FineCalibrationRun::report(unsigned long done, unsigned long total) const {
    if (progress) {
        progress(done, total);
    }
}

std::array<FineLut, kChannels> fine_luts_of(const FineCalibrationCapture& capture,
                                            FineCalibrationStats& stats) {
    std::array<FineLut, kChannels> luts;
    for (std::size_t input = 0; input < kChannels; ++input) {
        const CodeDensity density(capture.fine[input]);
        luts[input] = density.lut(kCoarsePeriodPs);
        stats.samples[input] = capture.fine[input].size();
        stats.unique_codes[input] = density.unique_codes();
        stats.resolution_ps[input] = density.resolution_ps();
        stats.lut_applied[input] = luts[input] != FineLut::identity();
    }
    return luts;
}

} // namespace qorn::timing
