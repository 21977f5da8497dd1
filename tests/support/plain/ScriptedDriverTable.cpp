// The plain functions of the scripted driver.
#include "ScriptedHandle.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace qorn::testing {
namespace {

template <typename... Values>
std::string join(const Values&... values) {
    std::ostringstream text;
    text.precision(17);
    const char* separator = "";
    ((text << separator << +values, separator = ","), ...);
    return text.str();
}

template <typename Value>
std::string joinFour(const Value* values) {
    return join(values[0], values[1], values[2], values[3]);
}

std::string textOf(const char* text) {
    return text == nullptr ? "null" : text;
}

template <typename Record>
bool isZero(const Record& record) {
    const Record zero{};
    return std::memcmp(&record, &zero, sizeof record) == 0;
}

// The summary as the driver's USB functions write it: without a NUL when it fills the buffer.
void writeSummary(const std::string& summary, char* out, unsigned long capacity) {
    std::memcpy(out, summary.data(), std::min<std::size_t>(summary.size(), capacity));
}

} // namespace

struct ScriptedFunctions {
    static ScriptedDriver& self() { return scriptedDriverInForce(); }

    static tt_status discover(tt_discovery** list) {
        ScriptedDriver& driver = self();
        const tt_status status = driver.begin("tt_discover", {});
        if (status == TT_OK) {
            const std::lock_guard lock(driver.mutex);
            *list = new tt_discovery{driver.script.devices};
            driver.lists.insert(*list);
        }
        return status;
    }
    static std::size_t discoverCount(const tt_discovery* list) {
        self().begin("tt_discover_count", {});
        return list->devices.size();
    }
    static const char* discoverPort(const tt_discovery* list, std::size_t index) {
        self().begin("tt_discover_port", join(index));
        const auto& port = list->devices.at(index).port;
        return port ? port->c_str() : nullptr;
    }
    static const tt_identity* discoverIdentity(const tt_discovery* list, std::size_t index) {
        self().begin("tt_discover_identity", join(index));
        const auto& identity = list->devices.at(index).identity;
        return identity ? &*identity : nullptr;
    }
    static void discoverFree(tt_discovery* list) {
        ScriptedDriver& driver = self();
        driver.begin("tt_discover_free", {});
        const std::lock_guard lock(driver.mutex);
        if (driver.lists.erase(list) != 1) {
            driver.breach("tt_discover_free of a list that is not there");
            return;
        }
        delete list;
    }

    static tt_status openAs(const char* function, const std::string& arguments, tt_device** device) {
        ScriptedDriver& driver = self();
        const tt_status status = driver.begin(function, arguments);
        if (status == TT_OK) {
            const std::lock_guard lock(driver.mutex);
            *device = driver.makeHandle();
        }
        return status;
    }
    static tt_status open(tt_device** device, const char* port, int baud) {
        return openAs("tt_open", textOf(port) + "," + join(baud), device);
    }
    static tt_status openSerial(tt_device** device, const char* port) {
        return openAs("tt_open_serial", textOf(port), device);
    }
    static void close(tt_device* device) {
        self().command("tt_close", device, {});
        const std::lock_guard lock(self().mutex);
        if (device != nullptr) {
            device->open = false;
        }
    }
    static tt_status identify(tt_device* device, tt_identity* identity) {
        ScriptedDriver& driver = self();
        return driver.command("tt_identify", device, {}, [&] {
            if (!isZero(*identity)) {
                driver.breach("tt_identify into a record that was not zeroed");
            }
            *identity = driver.script.identity;
        });
    }
    static const char* lastError(const tt_device* device) {
        ScriptedDriver& driver = self();
        driver.begin("tt_last_error", {});
        const std::lock_guard lock(driver.mutex);
        return driver.lastErrors[const_cast<tt_device*>(device)].c_str();
    }
    static const char* statusString(tt_status status) {
        switch (status) {
        case TT_OK:
            return "success";
        case TT_FAILED:
            return "general failure";
        case TT_FILE_ERROR:
            return "file failure";
        case TT_TIMED_OUT:
            return "timed out";
        case TT_NOT_SUPPORTED:
            return "not supported";
        case TT_NO_DEVICE:
            return "no device";
        case TT_REJECTED:
            return "rejected";
        default:
            return "unknown status";
        }
    }

    static tt_status setDacCodes(tt_device* device, const std::uint16_t codes[4]) {
        return self().command("tt_set_dac_codes", device, joinFour(codes));
    }
    static tt_status setInputDeadTimes(tt_device* device, const std::int64_t requested[4],
                                       std::int64_t applied[4]) {
        ScriptedDriver& driver = self();
        return driver.command("tt_set_input_dead_times", device, joinFour(requested), [&] {
            for (std::size_t input = 0; input < 4; ++input) {
                const std::int64_t cycles = (requested[input] * 3 + 9999) / 10000;
                applied[input] = driver.script.appliedDeadTimesPs
                                     ? driver.script.appliedDeadTimesPs->at(input)
                                     : cycles * 10000 / 3;
            }
        });
    }
    static tt_status setTdlActiveMasks(tt_device* device, const std::uint8_t masks[4]) {
        return self().command("tt_set_tdl_active_masks", device, joinFour(masks));
    }
    static tt_status clockCommand(const char* function, const std::string& arguments, tt_device* device,
                                  tt_reference_clock_status* status, bool takesNext) {
        ScriptedDriver& driver = self();
        return driver.command(function, device, arguments, [&] {
            if (!isZero(*status)) {
                driver.breach(std::string(function) + " into a record that was not zeroed");
            }
            *status = driver.script.clock;
            if (takesNext && !driver.script.nextClocks.empty()) {
                *status = driver.script.nextClocks.front();
                driver.script.nextClocks.pop_front();
            }
        });
    }
    static tt_status setReferenceClock(tt_device* device, int source, int signal,
                                       tt_reference_clock_status* status) {
        return clockCommand("tt_set_reference_clock", join(source, signal), device, status, false);
    }
    static tt_status getReferenceClockStatus(tt_device* device, tt_reference_clock_status* status) {
        return clockCommand("tt_get_reference_clock_status", {}, device, status, true);
    }

    static tt_status setPeriodCycles(tt_device* device, std::uint32_t cycles, std::uint32_t* applied) {
        return self().command("tt_set_period_cycles", device, join(cycles), [&] { *applied = cycles; });
    }
    static tt_status setWindowCycles(tt_device* device, std::uint32_t cycles, std::uint32_t* applied) {
        return self().command("tt_set_window_cycles", device, join(cycles), [&] { *applied = cycles; });
    }
    static tt_status startCountStream(tt_device* device) {
        return self().command("tt_start_count_stream", device, {});
    }
    static tt_status readCountStreamSample(tt_device* device, tt_count_sample* sample,
                                           std::uint32_t timeout_ms) {
        return self().readSample(device, sample, timeout_ms);
    }
    static tt_status stopMeasurementStream(tt_device* device, int flag) {
        return self().command("tt_stop_measurement_stream", device, join(flag));
    }
    static tt_status setHwCoincidenceMask(tt_device* device, std::uint8_t mask) {
        return self().command("tt_set_hw_coincidence_mask", device, join(mask));
    }
    static tt_status setHwCoincidenceOffset(tt_device* device, int channel, int offset_ps) {
        return self().command("tt_set_hw_coincidence_offset_ps", device, join(channel, offset_ps));
    }
    static tt_status runCoincidence(tt_device* device, tt_coincidence_result* result,
                                    std::uint32_t timeout_ms) {
        return self().runCoincidence(device, result, timeout_ms);
    }

    static tt_status setStreamInterface(tt_device* device, int transport, int format) {
        return self().command("tt_set_stream_interface", device, join(transport, format));
    }
    static tt_status setStreamChannelMask(tt_device* device, std::uint8_t mask) {
        return self().command("tt_set_stream_channel_mask", device, join(mask));
    }
    static tt_status setPackedDeltaConfig(tt_device* device, std::uint8_t bits, std::uint16_t quantum,
                                          std::uint8_t* applied_bits, std::uint16_t* applied_quantum) {
        ScriptedDriver& driver = self();
        if (*applied_bits != 16 || *applied_quantum != 8) {
            const std::lock_guard lock(driver.mutex);
            driver.breach("tt_set_packed_delta_config with results that were not preset to 16 and 8");
        }
        return driver.command("tt_set_packed_delta_config", device, join(bits, quantum), [&] {
            if (driver.script.writesPackedResult) {
                const auto applied = driver.script.appliedPacked.value_or(std::pair(bits, quantum));
                *applied_bits = applied.first;
                *applied_quantum = applied.second;
            }
        });
    }
    static tt_status setCalibrationFreq(tt_device* device, std::uint32_t* divider, double frequency) {
        return self().command("tt_set_calibration_freq", device, join(frequency), [&] { *divider = 1; });
    }
    static tt_status enableCalibrationSource(tt_device* device) {
        return self().command("tt_enable_calibration_source", device, {});
    }
    static tt_status disableCalibrationSource(tt_device* device) {
        return self().command("tt_disable_calibration_source", device, {});
    }
    static tt_status setTestSignal(tt_device* device, std::uint8_t enable, double* applied,
                                   double frequency) {
        return self().command("tt_set_test_signal", device, join(enable, frequency),
                              [&] { *applied = frequency; });
    }
    static tt_status startStreamMode(tt_device* device, int external, std::uint8_t tdl) {
        return self().command("tt_start_stream_mode", device, join(external, tdl));
    }
    static tt_status stopStreamMode(tt_device* device, int flag) {
        return self().command("tt_stop_stream_mode", device, join(flag));
    }
    static tt_status readStreamBytes(tt_device* device, void* buffer, std::size_t capacity,
                                     std::size_t* count, int timeout_ms) {
        return self().readStream(device, {static_cast<std::uint8_t*>(buffer), capacity}, count, timeout_ms);
    }
    static tt_status startCalibrationStream(tt_device* device, std::uint8_t tdl) {
        return self().command("tt_start_calibration_stream", device, join(tdl));
    }
    static tt_status startCalibrationSweep(tt_device* device, std::uint8_t tdl, std::uint8_t steps,
                                           std::uint16_t dwell) {
        return self().command("tt_start_calibration_sweep_stream", device, join(tdl, steps, dwell));
    }
    static tt_status stopCalibrationStream(tt_device* device, int flag) {
        return self().command("tt_stop_calibration_stream", device, join(flag));
    }
    static tt_status uploadCalibrationFile(tt_device* device, const char* path) {
        return self().command("tt_upload_calibration_file", device, textOf(path));
    }
    static tt_status getCalibrationPath(const char* serial, char* out, std::size_t capacity) {
        ScriptedDriver& driver = self();
        const tt_status status =
            driver.begin("tt_get_calibration_path", textOf(serial) + "," + join(capacity));
        const std::lock_guard lock(driver.mutex);
        const std::string& path = driver.script.calibrationPath;
        if (status != TT_OK || path.empty() || path.size() >= capacity) {
            return status != TT_OK ? status : TT_FILE_ERROR;
        }
        std::memcpy(out, path.c_str(), path.size() + 1);
        return TT_OK;
    }

    static void checkSummaryBuffer(const char* function, const char* out, unsigned long capacity) {
        ScriptedDriver& driver = self();
        const std::lock_guard lock(driver.mutex);
        if (capacity != 512 || std::any_of(out, out + capacity, [](char byte) { return byte != 0; })) {
            driver.breach(std::string(function) + " with a buffer that is not 512 zeroed bytes");
        }
    }
    static bool cycleUsb(const char* port, char* out, unsigned long capacity) {
        ScriptedDriver& driver = self();
        checkSummaryBuffer("cycle_ftdi_usb_device_summary", out, capacity);
        driver.begin("cycle_ftdi_usb_device_summary", textOf(port));
        const std::lock_guard lock(driver.mutex);
        writeSummary(driver.script.cycleSummary, out, capacity);
        return driver.script.cycleResult;
    }
    static bool ensureEeprom(char* out, unsigned long capacity) {
        ScriptedDriver& driver = self();
        checkSummaryBuffer("ensure_ftdi_fifo_eeprom_summary", out, capacity);
        driver.begin("ensure_ftdi_fifo_eeprom_summary", {});
        const std::lock_guard lock(driver.mutex);
        writeSummary(driver.script.eepromSummary, out, capacity);
        return driver.script.eepromResult;
    }
};

timing::DriverTable scriptedDriverTable() {
    using F = ScriptedFunctions;
    return {F::discover,
            F::discoverCount,
            F::discoverPort,
            F::discoverIdentity,
            F::discoverFree,
            F::open,
            F::openSerial,
            F::close,
            F::identify,
            F::lastError,
            F::statusString,
            F::setDacCodes,
            F::setInputDeadTimes,
            F::setTdlActiveMasks,
            F::setReferenceClock,
            F::getReferenceClockStatus,
            F::setPeriodCycles,
            F::setWindowCycles,
            F::startCountStream,
            F::readCountStreamSample,
            F::stopMeasurementStream,
            F::setHwCoincidenceMask,
            F::setHwCoincidenceOffset,
            F::runCoincidence,
            F::setStreamInterface,
            F::setStreamChannelMask,
            F::setPackedDeltaConfig,
            F::setCalibrationFreq,
            F::enableCalibrationSource,
            F::disableCalibrationSource,
            F::setTestSignal,
            F::startStreamMode,
            F::stopStreamMode,
            F::readStreamBytes,
            F::startCalibrationStream,
            F::startCalibrationSweep,
            F::stopCalibrationStream,
            F::uploadCalibrationFile,
            F::getCalibrationPath,
            F::cycleUsb,
            F::ensureEeprom};
}

} // namespace qorn::testing
