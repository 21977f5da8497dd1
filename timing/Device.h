// The owner of one open instrument, its identity, and the discovery of attached instruments.
#pragma once

#include "CalibrationTag.h"
#include "FineCalibrationRun.h"
#include "FineCalibrationStats.h"
#include "FineLut.h"
#include "ReferenceClock.h"
#include "TimeTag.h"
#include "Transport.h"
#include "tt_driver.h"

#include <array>
#include <chrono>
#include <string>
#include <vector>

namespace qorn::timing {

struct Identity {
    std::string vendor;
    std::string product;
    std::string serial;
    std::string description;

    // Copies each field up to its first NUL or its full width, whichever comes first.
    static Identity from_c(const tt_identity& identity);
    bool operator==(const Identity&) const = default;
};

struct DiscoveredDevice {
    std::string port; // the name to open
    Identity identity;
};

// Move-only owner of a driver handle. One thread at a time uses it. The destructor closes an owned handle and
// never throws.
class Device {
public:
    // Baud rate at which the driver's own default opening runs.
    static constexpr int kDefaultBaud = 3000000;

    // Attached instruments in the driver's order; a missing port or identity gives empty strings. Throws
    // Error.
    static std::vector<DiscoveredDevice> discover();
    // Opens the first instrument found, and takes the tables of "fine_lut.bin" in the current folder when
    // that file is complete. Throws Error; status -5 when there is none.
    static Device open_first(int baud);
    // Opens the instrument at a port at the default baud rate. Throws Error.
    static Device open_serial(const std::string& port);

    Device(tt_device* handle, bool owns_handle);
    ~Device();
    Device(Device&& other) noexcept;
    Device& operator=(Device&& other) noexcept;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    tt_device* handle = nullptr;
    bool owns_handle = false;
    std::string port;                    // at which it was opened; empty for a borrowed handle
    std::array<FineLut, kChannels> luts; // per input; identity at construction

    // Identity of the open instrument. Throws Error.
    Identity identify() const;

    // Select the timebase and the clock output, and read their state. Throw Error.
    ReferenceClockStatus set_reference_clock(ReferenceClockSource source, ReferenceSignal signal);
    ReferenceClockStatus reference_clock_status() const;

    // The first `count` tags, in stream order, of a calibration stream of one delay line, with the generator
    // at `frequency_hz`; see CalibrationStream for the firmware's sweep. The stream is stopped on every path.
    // Throws Error, with status -3 when no new tag came for `timeout`.
    std::vector<CalibrationTag> stream_calibration_tags(unsigned long count, double frequency_hz,
                                                        unsigned char tdl_index,
                                                        std::chrono::milliseconds timeout,
                                                        Transport transport, unsigned char sweep_steps,
                                                        unsigned short sweep_dwell);

    // Measures one delay line of all inputs by about `samples` tags and returns a table per input. `stats`
    // and `capture` take what the tables come from. `progress`, which may be empty, runs between the steps;
    // what it throws ends the run and passes through. Throws Error. Does not put the tables into `luts`.
    std::array<FineLut, kChannels>
    run_fine_calibration_all_channels(FineCalibrationStats& stats, FineCalibrationCapture& capture,
                                      unsigned long samples, unsigned long sweep_steps, double frequency_hz,
                                      unsigned char tdl_index, const CalibrationProgress& progress);
};

} // namespace qorn::timing
