#include "CalibrationRun.h"

#include "Device.h"
#include "LagEstimators.h"

#include <QCoreApplication>

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace qorn::timetagger::gui {
namespace {

constexpr std::size_t kLeastTimesForOffset = 128;

QString tr(const char* text) {
    return QCoreApplication::translate("CalibrationRun", text);
}

std::vector<std::int64_t> measuredTimes(const timing::FineCalibrationCapture& capture, std::size_t input,
                                        const timing::FineLut& lut) {
    const std::vector<std::uint32_t>& coarse = capture.coarse[input];
    const std::vector<std::uint16_t>& fine = capture.fine[input];
    std::vector<std::int64_t> times(std::min(coarse.size(), fine.size()));
    for (std::size_t i = 0; i < times.size(); ++i) {
        const std::int64_t ahead = fine[i] < lut.entries.size() ? lut.entries[fine[i]] : 0;
        times[i] = std::int64_t{coarse[i]} * timing::kCoarsePeriodPs - ahead;
    }
    return times;
}

// As a phase of the coarse period, 0 to 3332 ps.
std::uint32_t phaseOf(std::int64_t ps) {
    const std::int64_t rest = ps % timing::kCoarsePeriodPs;
    return static_cast<std::uint32_t>(rest < 0 ? rest + timing::kCoarsePeriodPs : rest);
}

UiCalChannelStat statOf(const timing::FineCalibrationStats& stats, std::size_t input, unsigned char line) {
    UiCalChannelStat stat;
    stat.delayLine = line;
    stat.input = static_cast<int>(input);
    stat.samples = stats.samples[input];
    stat.uniqueCodes = stats.unique_codes[input];
    stat.resolutionPs = stats.resolution_ps[input];
    stat.lutApplied = stats.lut_applied[input];
    return stat;
}

// Throws when there is nothing in the result.
QString summaryOf(const QList<UiCalChannelStat>& stats) {
    const auto passed = std::count_if(stats.begin(), stats.end(),
                                      [](const UiCalChannelStat& stat) { return stat.lutApplied; });
    const quint64 samples =
        std::accumulate(stats.begin(), stats.end(), quint64{0},
                        [](quint64 sum, const UiCalChannelStat& stat) { return sum + stat.samples; });
    if (samples == 0) {
        throw std::runtime_error(tr("Calibration captured 0 tags \u2014 the calibration stream delivered no "
                                    "data. Check the device connection and try again.")
                                     .toStdString());
    }
    return tr("Calibration completed: %1 of %2 checks passed using %3 samples.")
        .arg(passed)
        .arg(stats.size())
        .arg(samples);
}

} // namespace

std::vector<unsigned char> linesToCalibrate(const std::array<unsigned char, timing::kChannels>& tdlMasks) {
    constexpr unsigned char kLines = 3;
    constexpr int kAllLines = (1 << kLines) - 1;
    int active = 0;
    for (const unsigned char mask : tdlMasks) {
        active |= mask & kAllLines;
    }
    if (active == 0) {
        active = 1;
    }
    std::vector<unsigned char> lines;
    for (unsigned char line = 0; line < kLines; ++line) {
        if ((active >> line & 1) != 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

CalibrationRun::CalibrationRun(timing::Device& calibrated, const CalibrationRequest& wanted,
                               const std::atomic<bool>& canceled, const Progress& reports)
    : device(calibrated), request(wanted), cancel(canceled), progress(reports) {}

CalibrationResult CalibrationRun::measure() {
    CalibrationResult result;
    for (std::size_t stage = 0; stage < request.lines.size(); ++stage) {
        throwIfCanceled();
        measureLine(stage, result);
    }
    result.summary = summaryOf(result.stats);
    return result;
}

void CalibrationRun::measureLine(std::size_t stage, CalibrationResult& result) {
    const unsigned char line = request.lines[stage];
    timing::FineCalibrationStats stats;
    timing::FineCalibrationCapture capture;
    timing::FineCalibration::TdlEntry entry;
    entry.tdl_index = line;
    entry.luts = device.run_fine_calibration_all_channels(
        stats, capture, request.samples, request.sweepSteps, request.frequencyHz, line,
        [&](unsigned long done, unsigned long total) { report(stage, done, total); });
    throwIfCanceled();
    for (std::size_t input = 0; input < timing::kChannels; ++input) {
        result.stats.append(statOf(stats, input, line));
        Times times = measuredTimes(capture, input, entry.luts[input]);
        if (line == 0) {
            reference[input] = std::move(times);
            continue;
        }
        const auto offset = timing::estimate_periodic_phase_offset_ps(
            reference[input], times, timing::kCoarsePeriodPs, kLeastTimesForOffset);
        if (offset) {
            result.calibration.tdl_offset_ps[input][line] = phaseOf(*offset);
        }
    }
    result.calibration.tdls.push_back(std::move(entry));
}

void CalibrationRun::report(std::size_t stage, unsigned long done, unsigned long total) const {
    throwIfCanceled();
    const std::size_t stages = request.lines.size();
    const std::size_t all = std::max<std::size_t>(stages * total, 1);
    progress(static_cast<int>(100 * (stage * total + done) / all),
             tr("Calibrating stage %1 of %2...").arg(stage + 1).arg(stages));
}

void CalibrationRun::throwIfCanceled() const {
    if (cancel) {
        throw std::runtime_error(tr("Calibration canceled.").toStdString());
    }
}

} // namespace qorn::timetagger::gui
