#include "CalSource.h"

#include "Device.h"
#include "Driver.h"
#include "Error.h"

#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr double kDisarmHz = 1.0; // the driver wants a positive frequency even then

void setTestSignal(timing::Device& device, bool enable, double frequencyHz) {
    double applied = 0.0;
    const tt_status status =
        timing::driver().tt_set_test_signal(device.handle, enable ? 1 : 0, &applied, frequencyHz);
    if (status != TT_OK) {
        const char* text = timing::driver().tt_last_error(device.handle);
        throw timing::Error(
            status, text != nullptr && *text != '\0' ? text : timing::detail::failure_text(status, nullptr));
    }
}

} // namespace

void armCalSource(timing::Device& device, bool enable, double frequencyHz) {
    setTestSignal(device, enable, frequencyHz);
}

void disarmCalSource(timing::Device& device) {
    setTestSignal(device, false, kDisarmHz);
}

CalSourceSession::CalSourceSession(timing::Device& source, bool enable, double frequencyHz) : device(source) {
    armCalSource(device, enable, frequencyHz);
    armed = enable;
}

CalSourceSession::~CalSourceSession() {
    try {
        finish();
    } catch (const timing::Error&) {
        // The measurement already ends by another failure, which is the one to show.
    }
}

void CalSourceSession::finish() {
    if (std::exchange(armed, false)) {
        disarmCalSource(device);
    }
}

} // namespace qorn::timetagger::gui
