// The one seam to the instrument's driver library. Code above calls driver().tt_...; the table is filled once
// from a shared library, or replaced by a test.
#pragma once

#include "tt_driver.h"

#include <filesystem>
#include <string>

namespace qorn::timing {

// One pointer per function of tt_driver.h, under the function's own name. A table that load_driver() made has
// no null entry.
struct DriverTable {
    decltype(&::tt_discover) tt_discover = nullptr;
    decltype(&::tt_discover_count) tt_discover_count = nullptr;
    decltype(&::tt_discover_port) tt_discover_port = nullptr;
    decltype(&::tt_discover_identity) tt_discover_identity = nullptr;
    decltype(&::tt_discover_free) tt_discover_free = nullptr;
    decltype(&::tt_open) tt_open = nullptr;
    decltype(&::tt_open_serial) tt_open_serial = nullptr;
    decltype(&::tt_close) tt_close = nullptr;
    decltype(&::tt_identify) tt_identify = nullptr;
    decltype(&::tt_last_error) tt_last_error = nullptr;
    decltype(&::tt_status_string) tt_status_string = nullptr;
    decltype(&::tt_set_dac_codes) tt_set_dac_codes = nullptr;
    decltype(&::tt_set_input_dead_times) tt_set_input_dead_times = nullptr;
    decltype(&::tt_set_tdl_active_masks) tt_set_tdl_active_masks = nullptr;
    decltype(&::tt_set_reference_clock) tt_set_reference_clock = nullptr;
    decltype(&::tt_get_reference_clock_status) tt_get_reference_clock_status = nullptr;
    decltype(&::tt_set_period_cycles) tt_set_period_cycles = nullptr;
    decltype(&::tt_set_window_cycles) tt_set_window_cycles = nullptr;
    decltype(&::tt_start_count_stream) tt_start_count_stream = nullptr;
    decltype(&::tt_read_count_stream_sample) tt_read_count_stream_sample = nullptr;
    decltype(&::tt_stop_measurement_stream) tt_stop_measurement_stream = nullptr;
    decltype(&::tt_set_hw_coincidence_mask) tt_set_hw_coincidence_mask = nullptr;
    decltype(&::tt_set_hw_coincidence_offset_ps) tt_set_hw_coincidence_offset_ps = nullptr;
    decltype(&::tt_run_coincidence) tt_run_coincidence = nullptr;
    decltype(&::tt_set_stream_interface) tt_set_stream_interface = nullptr;
    decltype(&::tt_set_stream_channel_mask) tt_set_stream_channel_mask = nullptr;
    decltype(&::tt_set_packed_delta_config) tt_set_packed_delta_config = nullptr;
    decltype(&::tt_set_calibration_freq) tt_set_calibration_freq = nullptr;
    decltype(&::tt_enable_calibration_source) tt_enable_calibration_source = nullptr;
    decltype(&::tt_disable_calibration_source) tt_disable_calibration_source = nullptr;
    decltype(&::tt_set_test_signal) tt_set_test_signal = nullptr;
    decltype(&::tt_start_stream_mode) tt_start_stream_mode = nullptr;
    decltype(&::tt_stop_stream_mode) tt_stop_stream_mode = nullptr;
    decltype(&::tt_read_stream_bytes) tt_read_stream_bytes = nullptr;
    decltype(&::tt_start_calibration_stream) tt_start_calibration_stream = nullptr;
    decltype(&::tt_start_calibration_sweep_stream) tt_start_calibration_sweep_stream = nullptr;
    decltype(&::tt_stop_calibration_stream) tt_stop_calibration_stream = nullptr;
    decltype(&::tt_upload_calibration_file) tt_upload_calibration_file = nullptr;
    decltype(&::tt_get_calibration_path) tt_get_calibration_path = nullptr;
    bool (*cycle_ftdi_usb_device_summary)(const char*, char*, unsigned long) = nullptr;
    bool (*ensure_ftdi_fifo_eeprom_summary)(char*, unsigned long) = nullptr;
};

inline constexpr const char* kDriverLibrary = "libqorn_timing.so.0";

// Loads the shared library at `file` (a bare name goes through the loader's own search) and resolves every
// function. Throws Error that names the file, and the first missing function. The library is never unloaded.
DriverTable load_driver(const std::string& file);

// The table in force. On the first call without one it loads kDriverLibrary by the loader's search and, when
// no such library is found, the simulated instrument beside the running program. A library that is found but
// does not serve is an Error and no reason to fall back. Any thread; a failure is thrown at each call.
const DriverTable& driver();

// True when driver() had to take the simulated instrument because no driver library was found.
bool driver_is_simulated();

// Puts another table in force and returns the earlier one (null when none was loaded yet). The table must
// live until it is replaced; null makes the next driver() load again. For tests, while no handle is open.
const DriverTable* exchange_driver(const DriverTable* table);

// The simulated instrument's file beside the program that runs now.
std::filesystem::path simulator_path();

} // namespace qorn::timing
