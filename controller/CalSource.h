// The instrument's internal test signal as a source for hardware measurements.
#pragma once

namespace qorn::timing {
class Device;
}

namespace qorn::timetagger::gui {

// Arms or disarms the test signal. Throws timing::Error with the driver's text.
void armCalSource(timing::Device& device, bool enable, double frequencyHz);
void disarmCalSource(timing::Device& device);

// Sets the signal for the length of a measurement: armed when `enable` is set, and then disarmed again by
// finish() or, with failures ignored, by the destructor.
class CalSourceSession {
public:
    CalSourceSession(timing::Device& source, bool enable, double frequencyHz);
    ~CalSourceSession();
    CalSourceSession(const CalSourceSession&) = delete;
    CalSourceSession& operator=(const CalSourceSession&) = delete;

    void finish();

private:
    timing::Device& device;
    bool armed = false;
};

} // namespace qorn::timetagger::gui
