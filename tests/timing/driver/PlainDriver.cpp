// A driver library that has every function and does nothing. Tests rename a function in copies of it.
#include "tt_driver.h"

#include <cstring>

#define QORN_EXPORT __attribute__((visibility("default")))

extern "C" {

QORN_EXPORT tt_status tt_discover(tt_discovery** list) {
    *list = nullptr;
    return TT_OK;
}
QORN_EXPORT std::size_t tt_discover_count(const tt_discovery*) {
    return 0;
}
QORN_EXPORT const char* tt_discover_port(const tt_discovery*, std::size_t) {
    return nullptr;
}
QORN_EXPORT const tt_identity* tt_discover_identity(const tt_discovery*, std::size_t) {
    return nullptr;
}
QORN_EXPORT void tt_discover_free(tt_discovery*) {}
QORN_EXPORT tt_status tt_open(tt_device**, const char*, int) {
    return TT_NO_DEVICE;
}
QORN_EXPORT tt_status tt_open_serial(tt_device**, const char*) {
    return TT_NO_DEVICE;
}
QORN_EXPORT void tt_close(tt_device*) {}
QORN_EXPORT tt_status tt_identify(tt_device*, tt_identity*) {
    return TT_OK;
}
QORN_EXPORT const char* tt_last_error(const tt_device*) {
    return "";
}
QORN_EXPORT const char* tt_status_string(tt_status) {
    return "status of the plain driver";
}
QORN_EXPORT tt_status tt_set_dac_codes(tt_device*, const std::uint16_t*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_input_dead_times(tt_device*, const std::int64_t*, std::int64_t*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_tdl_active_masks(tt_device*, const std::uint8_t*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_reference_clock(tt_device*, int, int, tt_reference_clock_status*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_get_reference_clock_status(tt_device*, tt_reference_clock_status*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_period_cycles(tt_device*, std::uint32_t, std::uint32_t*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_window_cycles(tt_device*, std::uint32_t, std::uint32_t*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_start_count_stream(tt_device*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_read_count_stream_sample(tt_device*, tt_count_sample*, std::uint32_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_stop_measurement_stream(tt_device*, int) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_hw_coincidence_mask(tt_device*, std::uint8_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_hw_coincidence_offset_ps(tt_device*, int, int) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_run_coincidence(tt_device*, tt_coincidence_result*, std::uint32_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_stream_interface(tt_device*, int, int) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_stream_channel_mask(tt_device*, std::uint8_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_packed_delta_config(tt_device*, std::uint8_t, std::uint16_t, std::uint8_t*,
                                                 std::uint16_t*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_calibration_freq(tt_device*, std::uint32_t*, double) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_enable_calibration_source(tt_device*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_disable_calibration_source(tt_device*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_set_test_signal(tt_device*, std::uint8_t, double*, double) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_start_stream_mode(tt_device*, int, std::uint8_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_stop_stream_mode(tt_device*, int) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_read_stream_bytes(tt_device*, void*, std::size_t, std::size_t*, int) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_start_calibration_stream(tt_device*, std::uint8_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_start_calibration_sweep_stream(tt_device*, std::uint8_t, std::uint8_t,
                                                        std::uint16_t) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_stop_calibration_stream(tt_device*, int) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_upload_calibration_file(tt_device*, const char*) {
    return TT_OK;
}
QORN_EXPORT tt_status tt_get_calibration_path(const char*, char*, std::size_t) {
    return TT_OK;
}

} // extern "C"

namespace qorn::timing {

QORN_EXPORT bool cycle_ftdi_usb_device_summary(const char*, char*, unsigned long) {
    return true;
}
QORN_EXPORT bool ensure_ftdi_fifo_eeprom_summary(char* out, unsigned long capacity) {
    std::strncpy(out, "eeprom of the plain driver", capacity);
    return true;
}

} // namespace qorn::timing
