// The commands of the C interface that an open unit carries out.
#include "Interface.h"

#include "DriverCalls.h"

#include <algorithm>

using namespace qorn::simulator;

namespace {

template <typename Value>
std::span<const Value, kInputs> perInput(const Value* values) {
    return std::span<const Value, kInputs>(&required(values), kInputs);
}

template <typename Value, typename Source>
void putIfWanted(Value* out, Source value) {
    if (out != nullptr) {
        *out = static_cast<Value>(value);
    }
}

void put(tt_reference_clock_status* out, const ClockState& state) {
    tt_reference_clock_status& status = required(out);
    status.requested_source = static_cast<std::uint32_t>(state.requested);
    status.active_source = static_cast<std::uint32_t>(state.active);
    status.output_signal = static_cast<std::uint32_t>(state.outputSignal);
    status.reference_present = state.present ? 1 : 0;
    status.reference_locked = state.locked ? 1 : 0;
    status.third_flag = 0;
    status.fallback_active = state.fallback ? 1 : 0;
    status.lock_fault = state.lockFault ? 1 : 0;
    status.status_word = status.active_source | status.reference_present << 4 | status.reference_locked << 5 |
                         status.fallback_active << 6 | status.lock_fault << 7;
}

std::chrono::milliseconds milliseconds(std::int64_t count) {
    return std::chrono::milliseconds{std::max<std::int64_t>(count, 0)};
}

[[noreturn]] void throwTimeout(const char* what) {
    throw DeviceError(TT_TIMED_OUT, what);
}

std::uint32_t narrowed(std::uint64_t count) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, UINT32_MAX));
}

template <typename From, std::size_t N>
void putCounts(const std::array<From, N>& counts, std::uint32_t (&out)[N]) {
    std::transform(counts.begin(), counts.end(), out, [](From count) { return narrowed(count); });
}

} // namespace

tt_status tt_set_dac_codes(tt_device* device, const std::uint16_t codes[4]) {
    return command(device, "tt_set_dac_codes",
                   [&](Instrument& instrument) { instrument.setDacCodes(perInput(codes)); });
}

tt_status tt_set_input_dead_times(tt_device* device, const std::int64_t requested_ps[4],
                                  std::int64_t applied_ps[4]) {
    return command(device, "tt_set_input_dead_times", [&](Instrument& instrument) {
        const auto applied = instrument.setDeadTimes(perInput(requested_ps));
        if (applied_ps != nullptr) {
            std::copy(applied.begin(), applied.end(), applied_ps);
        }
    });
}

tt_status tt_set_tdl_active_masks(tt_device* device, const std::uint8_t masks[4]) {
    return command(device, "tt_set_tdl_active_masks",
                   [&](Instrument& instrument) { instrument.setTdlMasks(perInput(masks)); });
}

tt_status tt_set_reference_clock(tt_device* device, int source, int signal,
                                 tt_reference_clock_status* status) {
    return command(device, "tt_set_reference_clock", [&](Instrument& instrument) {
        put(status, instrument.setReferenceClock(source, signal));
    });
}

tt_status tt_get_reference_clock_status(tt_device* device, tt_reference_clock_status* status) {
    return command(device, "tt_get_reference_clock_status",
                   [&](Instrument& instrument) { put(status, instrument.referenceClock()); });
}

tt_status tt_set_period_cycles(tt_device* device, std::uint32_t cycles, std::uint32_t* applied) {
    return command(device, "tt_set_period_cycles",
                   [&](Instrument& instrument) { putIfWanted(applied, instrument.setPeriodCycles(cycles)); });
}

tt_status tt_set_window_cycles(tt_device* device, std::uint32_t cycles, std::uint32_t* applied) {
    return command(device, "tt_set_window_cycles",
                   [&](Instrument& instrument) { putIfWanted(applied, instrument.setWindowCycles(cycles)); });
}

tt_status tt_start_count_stream(tt_device* device) {
    return command(device, "tt_start_count_stream",
                   [](Instrument& instrument) { instrument.startCounting(); });
}

tt_status tt_read_count_stream_sample(tt_device* device, tt_count_sample* sample, std::uint32_t timeout_ms) {
    const auto timeout = milliseconds(timeout_ms);
    const auto read = [&](Instrument& instrument) {
        tt_count_sample& out = required(sample);
        const auto frame = instrument.readFrame(timeout, [&] { device->requirePresence(); });
        if (!frame) {
            throwTimeout("no count frame came in time");
        }
        putCounts(frame->counts, out.counts);
        std::uint64_t total = 0;
        for (const std::uint32_t count : frame->counts) {
            total += count;
        }
        out.total = narrowed(total);
        out.period_cycles = frame->periodCycles;
    };
    return command(device, "tt_read_count_stream_sample", read, timeout);
}

tt_status tt_stop_measurement_stream(tt_device* device, int) {
    return command(device, "tt_stop_measurement_stream",
                   [](Instrument& instrument) { instrument.stopCounting(); });
}

tt_status tt_set_hw_coincidence_mask(tt_device* device, std::uint8_t mask) {
    return command(device, "tt_set_hw_coincidence_mask",
                   [&](Instrument& instrument) { instrument.setCoincidenceMask(mask); });
}

tt_status tt_set_hw_coincidence_offset_ps(tt_device* device, int channel, int offset_ps) {
    return command(device, "tt_set_hw_coincidence_offset_ps",
                   [&](Instrument& instrument) { instrument.setCoincidenceOffset(channel, offset_ps); });
}

tt_status tt_run_coincidence(tt_device* device, tt_coincidence_result* result, std::uint32_t timeout_ms) {
    const auto timeout = milliseconds(timeout_ms);
    const auto run = [&](Instrument& instrument) {
        tt_coincidence_result& out = required(result);
        const auto gate = instrument.runCoincidence(timeout, [&] { device->requirePresence(); });
        if (!gate) {
            throwTimeout("the gate did not end in time");
        }
        const CoincidenceCounts& counts = gate->counts;
        putCounts(counts.singles, out.singles);
        putCounts(counts.pairs, out.pairs);
        putCounts(counts.triples, out.triples);
        out.quadruple = narrowed(counts.quadruple);
        out.total = narrowed(counts.singles[0] + counts.singles[1] + counts.singles[2] + counts.singles[3]);
        out.period_cycles = gate->periodCycles;
        out.window_cycles = gate->windowCycles;
    };
    return command(device, "tt_run_coincidence", run, timeout);
}

tt_status tt_set_stream_interface(tt_device* device, int transport, int format) {
    return command(device, "tt_set_stream_interface",
                   [&](Instrument& instrument) { instrument.setStreamInterface(transport, format); });
}

tt_status tt_set_stream_channel_mask(tt_device* device, std::uint8_t mask) {
    return command(device, "tt_set_stream_channel_mask",
                   [&](Instrument& instrument) { instrument.setStreamMask(mask); });
}

tt_status tt_set_packed_delta_config(tt_device* device, std::uint8_t delta_bits, std::uint16_t quantum_ps,
                                     std::uint8_t* applied_bits, std::uint16_t* applied_quantum_ps) {
    return command(device, "tt_set_packed_delta_config", [&](Instrument& instrument) {
        const auto applied = instrument.setPackedConfig({delta_bits, quantum_ps});
        putIfWanted(applied_bits, applied.deltaBits);
        putIfWanted(applied_quantum_ps, applied.quantumPs);
    });
}

tt_status tt_set_calibration_freq(tt_device* device, std::uint32_t* divider, double frequency_hz) {
    return command(device, "tt_set_calibration_freq", [&](Instrument& instrument) {
        putIfWanted(divider, instrument.setGeneratorFrequency(frequency_hz));
    });
}

tt_status tt_enable_calibration_source(tt_device* device) {
    return command(device, "tt_enable_calibration_source",
                   [](Instrument& instrument) { instrument.connectGenerator(true); });
}

tt_status tt_disable_calibration_source(tt_device* device) {
    return command(device, "tt_disable_calibration_source",
                   [](Instrument& instrument) { instrument.connectGenerator(false); });
}

tt_status tt_set_test_signal(tt_device* device, std::uint8_t enable, double* applied, double frequency_hz) {
    return command(device, "tt_set_test_signal", [&](Instrument& instrument) {
        putIfWanted(applied, instrument.setTestSignal(enable != 0, frequency_hz));
    });
}

tt_status tt_start_stream_mode(tt_device* device, int external, std::uint8_t tdl_index) {
    return command(device, "tt_start_stream_mode",
                   [&](Instrument& instrument) { instrument.startStream(external != 0, tdl_index); });
}

tt_status tt_stop_stream_mode(tt_device* device, int) {
    return command(device, "tt_stop_stream_mode", [](Instrument& instrument) { instrument.stopStream(); });
}

tt_status tt_read_stream_bytes(tt_device* device, void* buffer, std::size_t capacity, std::size_t* count,
                               int timeout_ms) {
    const auto timeout = milliseconds(timeout_ms);
    putIfWanted(count, 0);
    const auto read = [&](Instrument& instrument) {
        if (buffer == nullptr) {
            throw DeviceError(TT_FAILED, "there is no buffer to read into");
        }
        const std::span<std::uint8_t> out(static_cast<std::uint8_t*>(buffer), capacity);
        std::size_t& bytes = required(count);
        bytes = instrument.readStream(out, timeout, [&] { device->requirePresence(); });
        if (bytes == 0) {
            throwTimeout("no stream data came in time");
        }
    };
    return command(device, "tt_read_stream_bytes", read, timeout);
}

tt_status tt_start_calibration_stream(tt_device* device, std::uint8_t tdl_index) {
    return command(device, "tt_start_calibration_stream",
                   [&](Instrument& instrument) { instrument.startCalibrationStream(tdl_index, 1, 1); });
}

tt_status tt_start_calibration_sweep_stream(tt_device* device, std::uint8_t tdl_index, std::uint8_t steps,
                                            std::uint16_t dwell) {
    return command(device, "tt_start_calibration_sweep_stream", [&](Instrument& instrument) {
        instrument.startCalibrationStream(tdl_index, steps, dwell);
    });
}

tt_status tt_stop_calibration_stream(tt_device* device, int) {
    return command(device, "tt_stop_calibration_stream",
                   [](Instrument& instrument) { instrument.stopStream(); });
}

tt_status tt_upload_calibration_file(tt_device* device, const char* path) {
    return command(device, "tt_upload_calibration_file", [&](Instrument& instrument) {
        const auto* utf8 = reinterpret_cast<const char8_t*>(&required(path));
        instrument.uploadCalibration(std::filesystem::path(utf8));
    });
}
