#include "CounterLoop.h"

#include "CalSource.h"
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

constexpr double kLeastGateSeconds = 0.001;
constexpr int kTimeoutsForgiven = 2; // in a row

quint32 readTimeoutMs(double gateSeconds) {
    constexpr double kMost = std::numeric_limits<quint32>::max();
    return static_cast<quint32>(std::min(std::trunc(std::min(gateSeconds * 2000.0, kMost)) + 500.0, kMost));
}

// Stops the frames on every path: orderly by finish(), otherwise with failures ignored.
class CountStreamSession {
public:
    explicit CountStreamSession(timing::Device& source) : device(source) {}
    ~CountStreamSession() {
        if (!finished) {
            timing::driver().tt_stop_measurement_stream(device.handle, 0);
        }
    }
    CountStreamSession(const CountStreamSession&) = delete;
    CountStreamSession& operator=(const CountStreamSession&) = delete;

    void start() {
        timing::detail::check(timing::driver().tt_start_count_stream(device.handle), "start_count_stream",
                              device.handle);
    }
    void finish() {
        const tt_status status = timing::driver().tt_stop_measurement_stream(device.handle, 1);
        timing::detail::check(status, "stop_measurement_stream", device.handle);
        finished = true;
    }

private:
    timing::Device& device;
    bool finished = false;
};

UiCounterSample toSample(const tt_count_sample& frame, double gateSeconds) {
    UiCounterSample sample;
    for (int input = 0; input < timing::kChannels; ++input) {
        sample.counts[input] = frame.counts[input];
    }
    sample.totalCount = frame.total;
    sample.periodCycles = frame.period_cycles;
    sample.gateSeconds = frame.period_cycles != 0 ? frame.period_cycles / timing::kClockHz : gateSeconds;
    return sample;
}

} // namespace

double leastGate(double gateSeconds) {
    return gateSeconds > kLeastGateSeconds ? gateSeconds : kLeastGateSeconds;
}

quint32 gateCycles(double gateSeconds) {
    constexpr double kMost = std::numeric_limits<quint32>::max();
    return std::max<quint32>(static_cast<quint32>(std::min(leastGate(gateSeconds) * timing::kClockHz, kMost)),
                             1);
}

void counterLoop(timing::Device& device, const CounterRequest& request, const std::atomic<bool>& stop,
                 MeasurementEvents& events, LoopClock& clock) {
    ensureReferenceClockReadyForMeasurement(device, request.clock, stop, events, clock);
    if (stop) {
        return; // perhaps before the reference was locked
    }
    CalSourceSession calSource(device, request.internalSource, request.internalRateHz);
    CountStreamSession frames(device);
    const double gate = leastGate(request.gateSeconds);
    const quint32 cycles = gateCycles(gate);
    const double longestGate =
        cycles == std::numeric_limits<quint32>::max() ? cycles / timing::kClockHz : gate;
    std::uint32_t applied = 0;
    timing::detail::check(timing::driver().tt_set_period_cycles(device.handle, cycles, &applied),
                          "set_period_cycles", device.handle);
    frames.start();
    const quint32 timeout = readTimeoutMs(gate);
    int timeouts = 0;
    while (!stop) {
        tt_count_sample frame{};
        const tt_status status = timing::driver().tt_read_count_stream_sample(device.handle, &frame, timeout);
        if (status == TT_TIMED_OUT) {
            if (++timeouts > kTimeoutsForgiven) {
                throw std::runtime_error(
                    QCoreApplication::translate(
                        "Measurement",
                        "autonomous counter stream timed out; firmware did not emit count frames")
                        .toStdString());
            }
            continue;
        }
        timing::detail::check(status, "read_count_stream_sample", device.handle);
        timeouts = 0;
        events.counterSample(toSample(frame, longestGate));
    }
    frames.finish();
    calSource.finish();
}

} // namespace qorn::timetagger::gui
