#include "CoincidenceLoop.h"

#include "CalSource.h"
#include "CoincidenceGrid.h"
#include "CounterLoop.h"
#include "Device.h"
#include "Driver.h"
#include "Error.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace qorn::timetagger::gui {
namespace {

constexpr double kMostPeriodCycles = std::numeric_limits<quint32>::max();
constexpr quint32 kLongestTimeoutMs = std::numeric_limits<quint32>::max();
constexpr quint32 kTimeoutMarginMs = 500;
constexpr quint32 kShortestTimeoutMs = 1500;

[[noreturn]] void refuse(const char* text) {
    throw std::runtime_error(QCoreApplication::translate("Measurement", text).toStdString());
}

void setOffsets(timing::Device& device, const UiCoincidenceConfig& config) {
    for (int input = 0; input < timing::kChannels; ++input) {
        const qint64 offset = config.offsetsPs[static_cast<std::size_t>(input)];
        if (!isHardwareDelayRange(offset)) {
            refuse(QT_TRANSLATE_NOOP("Measurement",
                                     "Hardware coincidence offset is outside the supported range."));
        }
        if (!cyclesOnGrid(offset)) {
            refuse(QT_TRANSLATE_NOOP("Measurement",
                                     "The requested coincidence offset requires time-tag streaming."));
        }
        timing::detail::check(
            timing::driver().tt_set_hw_coincidence_offset_ps(device.handle, input, static_cast<int>(offset)),
            "set_hw_coincidence_offset_ps", device.handle);
    }
}

// Sends mask and offsets, and gives the window in cycles.
quint32 configure(timing::Device& device, const UiCoincidenceConfig& config) {
    if (!haveOneWindow(config)) {
        refuse(
            QT_TRANSLATE_NOOP("Measurement", "Hardware coincidence measurements require one shared window."));
    }
    timing::detail::check(timing::driver().tt_set_hw_coincidence_mask(device.handle, config.channelMask),
                          "set_hw_coincidence_mask", device.handle);
    setOffsets(device, config);
    const std::optional<quint32> window = windowCycles(config.pairWindowsPs[0]);
    if (!window) {
        refuse(QT_TRANSLATE_NOOP("Measurement",
                                 "The requested coincidence window requires time-tag streaming."));
    }
    return *window;
}

// How long a gate may take to come back.
quint32 gateTimeoutMs(double gateSeconds) {
    const double gateMs = std::trunc(gateSeconds * 1000.0);
    if (gateMs > kLongestTimeoutMs - kTimeoutMarginMs) {
        return kLongestTimeoutMs;
    }
    return std::max(static_cast<quint32>(gateMs) + kTimeoutMarginMs, kShortestTimeoutMs);
}

tt_coincidence_result runGate(timing::Device& device, quint32 periodCycles, quint32 window,
                              quint32 timeoutMs) {
    std::uint32_t applied = 0;
    timing::detail::check(timing::driver().tt_set_period_cycles(device.handle, periodCycles, &applied),
                          "set_period_cycles", device.handle);
    timing::detail::check(timing::driver().tt_set_window_cycles(device.handle, window, &applied),
                          "set_window_cycles", device.handle);
    tt_coincidence_result result{};
    timing::detail::check(timing::driver().tt_run_coincidence(device.handle, &result, timeoutMs),
                          "run_coincidence", device.handle);
    return result;
}

UiCoincidenceSample toSample(const tt_coincidence_result& result, double gateSeconds) {
    UiCoincidenceSample sample;
    std::copy(std::begin(result.singles), std::end(result.singles), sample.singles.begin());
    std::copy(std::begin(result.pairs), std::end(result.pairs), sample.pairs.begin());
    std::copy(std::begin(result.triples), std::end(result.triples), sample.triples.begin());
    sample.quadruple = result.quadruple;
    sample.totalCount = result.total;
    sample.periodCycles = result.period_cycles;
    sample.windowCycles = result.window_cycles;
    sample.gateSeconds = result.period_cycles != 0 ? result.period_cycles / timing::kClockHz : gateSeconds;
    return sample;
}

} // namespace

void coincidenceLoop(timing::Device& device, const CoincidenceRequest& request, const std::atomic<bool>& stop,
                     MeasurementEvents& events, LoopClock& clock) {
    ensureReferenceClockReadyForMeasurement(device, request.clock, stop, events, clock);
    if (stop) {
        return; // perhaps before the reference was locked
    }
    CalSourceSession calSource(device, request.internalSource, request.internalRateHz);
    const quint32 window = configure(device, request.config);
    const double gate = leastGate(request.config.gateSeconds);
    const quint32 periodCycles = gateCycles(gate);
    const quint32 timeout = gateTimeoutMs(gate);
    const double ranGate = std::min(gate, kMostPeriodCycles / timing::kClockHz);
    while (!stop) {
        events.coincidenceSample(toSample(runGate(device, periodCycles, window, timeout), ranGate));
    }
    calSource.finish();
}

} // namespace qorn::timetagger::gui
