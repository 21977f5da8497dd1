// A running calibration stream of one delay line: started by the constructor, stopped by stop() or, with a
// failure of that ignored, by the destructor. A stop that failed is tried once more, and a start that failed
// is followed by a stop: it may have come through with only its answer lost. Lives on the stack of the thread
// that calibrates the device.
#pragma once

#include "CalibrationTag.h"
#include "StreamBuffer.h"
#include "tt_driver.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qorn::timing {

class CalibrationStream {
public:
    // With fewer than two `sweep_steps` the generator keeps its frequency, else the firmware sweeps it, each
    // step for `sweep_dwell` of its periods. Throws Error.
    CalibrationStream(tt_device* device, std::uint8_t tdl_index, std::uint8_t sweep_steps,
                      std::uint16_t sweep_dwell);
    ~CalibrationStream();
    CalibrationStream(const CalibrationStream&) = delete;
    CalibrationStream& operator=(const CalibrationStream&) = delete;

    // The next `count` tags in stream order; bytes that begin no tag are skipped. Throws Error, with status
    // -3 when no new tag came for `timeout`.
    std::vector<CalibrationTag> read(std::size_t count, std::chrono::milliseconds timeout);

    // Throws Error.
    void stop();

private:
    void abandon();
    void receive(std::vector<std::uint8_t>& buffer);
    void take_tags(std::vector<CalibrationTag>& tags, std::size_t count);

    tt_device* device;
    bool running = true;
    StreamBuffer pending;
};

} // namespace qorn::timing
