#include "ClockWait.h"

#include "Device.h"

#include <QCoreApplication>

#include <stdexcept>

namespace qorn::timetagger::gui {
namespace {

constexpr std::chrono::milliseconds kLockDeadline{2500};
constexpr std::chrono::milliseconds kLockPoll{100};

} // namespace

bool isLockedToExternal(const timing::ReferenceClockStatus& status) {
    return status.activeSource == timing::ReferenceClockSource::External && status.referencePresent &&
           status.referenceLocked && !status.fallbackActive;
}

void ensureReferenceClockReadyForMeasurement(timing::Device& device, const ClockRequest& request,
                                             const std::atomic<bool>& stop, MeasurementEvents& events,
                                             LoopClock& clock) {
    if (!request.controlAvailable) {
        return;
    }
    timing::ReferenceClockStatus status = device.set_reference_clock(request.source, request.signal);
    events.clockStatus(status);
    if (request.source != timing::ReferenceClockSource::External) {
        return;
    }
    const auto deadline = clock.now() + kLockDeadline;
    while (!isLockedToExternal(status) && !stop) {
        if (clock.now() > deadline) {
            throw std::runtime_error(
                QCoreApplication::translate(
                    "Measurement",
                    "External 10 MHz reference is selected, but the device is not locked to CLKIN.")
                    .toStdString());
        }
        clock.sleepFor(kLockPoll);
        status = device.reference_clock_status();
        events.clockStatus(status);
    }
}

} // namespace qorn::timetagger::gui
