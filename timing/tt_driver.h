// The C interface of the instrument's driver library, libqorn_timing.so.0, as this system needs it.
//
// The library itself is closed and is loaded at run time (see Driver.h); the simulated instrument implements
// the same interface. Every function that takes a handle may block until the instrument answers, and one
// thread at a time may use a handle, except that tt_read_stream_bytes may run while another thread waits.
// Results are written through pointers; records are zeroed by the caller first.
#pragma once

#include <cstddef>
#include <cstdint>

using tt_status = std::int32_t;

// Statuses on which the system relies. Others are failures that only tt_status_string can name.
inline constexpr tt_status TT_OK = 0;
inline constexpr tt_status TT_FAILED = -1;
inline constexpr tt_status TT_FILE_ERROR = -2;
inline constexpr tt_status TT_TIMED_OUT = -3;
inline constexpr tt_status TT_NOT_SUPPORTED = -4;
inline constexpr tt_status TT_NO_DEVICE = -5;
inline constexpr tt_status TT_NOT_OPEN = -6;
inline constexpr tt_status TT_REJECTED = -7;

struct tt_device;    // one open instrument
struct tt_discovery; // the result of tt_discover

// Fixed-width texts, NUL-terminated unless they fill their field.
struct tt_identity {
    char vendor[16];
    char product[16];
    char serial[16];
    char description[48];
};
static_assert(sizeof(tt_identity) == 96);
static_assert(offsetof(tt_identity, description) == 48);

// One frame of the autonomous counter.
struct tt_count_sample {
    std::uint32_t counts[4];     // events per input in this period
    std::uint32_t total;         // the frame's own total
    std::uint32_t period_cycles; // real period in 300 MHz cycles, 0 when unknown
};
static_assert(sizeof(tt_count_sample) == 24);

// One gate of the hardware coincidence counter.
struct tt_coincidence_result {
    std::uint32_t singles[4];
    std::uint32_t total;
    std::uint32_t pairs[6];   // inputs 12, 13, 14, 23, 24, 34
    std::uint32_t triples[4]; // inputs 123, 124, 134, 234
    std::uint32_t quadruple;
    std::uint32_t period_cycles; // 300 MHz cycles
    std::uint32_t window_cycles; // 300 MHz cycles
};
static_assert(sizeof(tt_coincidence_result) == 18 * 4);
static_assert(offsetof(tt_coincidence_result, pairs) == 5 * 4);
static_assert(offsetof(tt_coincidence_result, period_cycles) == 16 * 4);

// Sources: 0 automatic, 1 internal, 2 external. Signals: 0 10 MHz, 1 1 PPS. Flags: 0 false, else true.
struct tt_reference_clock_status {
    std::uint32_t requested_source;
    std::uint32_t active_source;
    std::uint32_t output_signal;
    std::uint32_t reference_present;
    std::uint32_t reference_locked;
    std::uint32_t third_flag;
    std::uint32_t fallback_active;
    std::uint32_t lock_fault;
    std::uint32_t status_word;
};
static_assert(sizeof(tt_reference_clock_status) == 9 * 4);

extern "C" {

// Discovery needs no handle. An entry without port or identity yields a null pointer.
tt_status tt_discover(tt_discovery** list);
std::size_t tt_discover_count(const tt_discovery* list);
const char* tt_discover_port(const tt_discovery* list, std::size_t index);
const tt_identity* tt_discover_identity(const tt_discovery* list, std::size_t index);
void tt_discover_free(tt_discovery* list);

tt_status tt_open(tt_device** device, const char* port, int baud);
tt_status tt_open_serial(tt_device** device, const char* port); // at 3000000 baud
void tt_close(tt_device* device);
tt_status tt_identify(tt_device* device, tt_identity* identity);
const char* tt_last_error(const tt_device* device); // detail on the last failure, possibly empty
const char* tt_status_string(tt_status status);

// Inputs. Codes and masks are per input; masks hold delay lines 0 to 2 in bits 0 to 2.
tt_status tt_set_dac_codes(tt_device* device, const std::uint16_t codes[4]);
tt_status tt_set_input_dead_times(tt_device* device, const std::int64_t requested_ps[4],
                                  std::int64_t applied_ps[4]);
tt_status tt_set_tdl_active_masks(tt_device* device, const std::uint8_t masks[4]);

tt_status tt_set_reference_clock(tt_device* device, int source, int signal,
                                 tt_reference_clock_status* status);
tt_status tt_get_reference_clock_status(tt_device* device, tt_reference_clock_status* status);

// Counting in hardware. Cycles are of the 300 MHz clock.
tt_status tt_set_period_cycles(tt_device* device, std::uint32_t cycles, std::uint32_t* applied);
tt_status tt_set_window_cycles(tt_device* device, std::uint32_t cycles, std::uint32_t* applied);
tt_status tt_start_count_stream(tt_device* device);
tt_status tt_read_count_stream_sample(tt_device* device, tt_count_sample* sample, std::uint32_t timeout_ms);
tt_status tt_stop_measurement_stream(tt_device* device, int flag);
tt_status tt_set_hw_coincidence_mask(tt_device* device, std::uint8_t mask);
tt_status tt_set_hw_coincidence_offset_ps(tt_device* device, int channel, int offset_ps);
tt_status tt_run_coincidence(tt_device* device, tt_coincidence_result* result, std::uint32_t timeout_ms);

// The tag stream. Transports: 0 UART, 1 USB, 2 USB asynchronous. Formats: 0 raw64, 1 delta32, 2 packed delta.
tt_status tt_set_stream_interface(tt_device* device, int transport, int format);
tt_status tt_set_stream_channel_mask(tt_device* device, std::uint8_t mask);
tt_status tt_set_packed_delta_config(tt_device* device, std::uint8_t delta_bits, std::uint16_t quantum_ps,
                                     std::uint8_t* applied_bits, std::uint16_t* applied_quantum_ps);
tt_status tt_set_calibration_freq(tt_device* device, std::uint32_t* divider, double frequency_hz);
tt_status tt_enable_calibration_source(tt_device* device);
tt_status tt_disable_calibration_source(tt_device* device);
tt_status tt_set_test_signal(tt_device* device, std::uint8_t enable, double* applied, double frequency_hz);
tt_status tt_start_stream_mode(tt_device* device, int external, std::uint8_t tdl_index);
tt_status tt_stop_stream_mode(tt_device* device, int flag);
// Up to capacity bytes of stream; success with count 0 is allowed, TT_TIMED_OUT means no data in time.
tt_status tt_read_stream_bytes(tt_device* device, void* buffer, std::size_t capacity, std::size_t* count,
                               int timeout_ms);

// Calibration of the tapped delay lines.
tt_status tt_start_calibration_stream(tt_device* device, std::uint8_t tdl_index);
tt_status tt_start_calibration_sweep_stream(tt_device* device, std::uint8_t tdl_index, std::uint8_t steps,
                                            std::uint16_t dwell);
tt_status tt_stop_calibration_stream(tt_device* device, int flag);
tt_status tt_upload_calibration_file(tt_device* device, const char* path);              // path in UTF-8
tt_status tt_get_calibration_path(const char* serial, char* out, std::size_t capacity); // no handle

} // extern "C"

// The library's two C++ functions. Each fills the caller's buffer with a summary that is NUL-terminated
// unless it fills the buffer.
namespace qorn::timing {

// Resets the USB device behind the port by cycling it; true on success.
bool cycle_ftdi_usb_device_summary(const char* port, char* out, unsigned long capacity);

// Makes sure that the USB chip's EEPROM selects FIFO mode; true when the summary is worth showing.
bool ensure_ftdi_fifo_eeprom_summary(char* out, unsigned long capacity);

} // namespace qorn::timing
