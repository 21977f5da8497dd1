// A fine calibration of one delay line on all inputs: the generator is swept, so that its pulses hit every
// fine code in proportion to its width, and the codes are captured. Lives on the stack of the thread that
// calibrates the device; steps report to a function that may throw to end the run.
#pragma once

#include "CalibrationTag.h"
#include "FineCalibrationStats.h"
#include "FineLut.h"

#include <array>
#include <cstdint>
#include <functional>
#include <span>

namespace qorn::timing {

class Device;

// Steps that are done, and of how many. May be empty.
using CalibrationProgress = std::function<void(unsigned long done, unsigned long total)>;

class FineCalibrationRun {
public:
    struct Request {
        unsigned long samples = 0; // tags of all inputs together
        unsigned long sweep_steps = 0;
        double frequency_hz = 0.0;
        std::uint8_t tdl_index = 0;
    };

    // `device`, `capture` and `progress` outlive the run.
    FineCalibrationRun(Device& device, const Request& request, FineCalibrationCapture& capture,
                       const CalibrationProgress& progress);

    // Fills the capture anew: by dividers of the generator around the wanted frequency, one stream for each,
    // or, when the environment asks for it, in one stream that the firmware sweeps. Throws Error, and what
    // the progress function throws.
    void sweep();

private:
    void sweep_by_host();
    void sweep_by_firmware();
    void add(std::span<const CalibrationTag> tags);
    void report(unsigned long done, unsigned long total) const;

    Device& device;
    const Request request;
    FineCalibrationCapture& capture;
    const CalibrationProgress& progress;
};

// The table of each input by its captured codes, with what there is to say of it.
std::array<FineLut, kChannels> fine_luts_of(const FineCalibrationCapture& capture,
                                            FineCalibrationStats& stats);

} // namespace qorn::timing
