#include "FaultingDriver.h"

#include <atomic>
#include <type_traits>

namespace qorn::testing {
namespace {

// The functions of the table have no other way to their driver.
std::atomic<FaultingDriver*> inForce{nullptr};

// Whether the last call on this thread was let fail; what asks for the failure's text does not count.
thread_local bool lastCallFailed = false;

template <typename Result>
Result failureOf() {
    if constexpr (std::is_same_v<Result, tt_status>) {
        return FaultingDriver::kStatus;
    } else {
        return Result{};
    }
}

template <auto Member>
struct Function;

template <typename Result, typename... Arguments, Result (*timing::DriverTable::*Member)(Arguments...)>
struct Function<Member> {
    static inline const char* name = nullptr;

    static Result call(Arguments... arguments) {
        FaultingDriver& driver = *inForce.load();
        const auto fails = driver.meets(name);
        const auto function = driver.behind().*Member;
        if constexpr (std::is_void_v<Result>) { // has no way to fail
            function(arguments...);
        } else {
            if constexpr (std::is_same_v<Result, tt_status>) {
                lastCallFailed = fails.has_value();
            }
            if (fails != FaultingDriver::Effect::None) {
                const Result result = function(arguments...);
                if (!fails) {
                    return result;
                }
            }
            return failureOf<Result>();
        }
    }
};

const char* lastError(const tt_device* device) {
    FaultingDriver& driver = *inForce.load();
    if (driver.meets("tt_last_error")) {
        return nullptr;
    }
    return lastCallFailed ? FaultingDriver::kDetail : driver.behind().tt_last_error(device);
}

std::vector<std::string>& enteredNames() {
    static std::vector<std::string> names;
    return names;
}

template <auto Member>
void enter(timing::DriverTable& table, const char* name) {
    enteredNames().push_back(name);
    Function<Member>::name = name;
    table.*Member = &Function<Member>::call;
}

void enterDiscovery(timing::DriverTable& table) {
    using Table = timing::DriverTable;
    enter<&Table::tt_discover>(table, "tt_discover");
    enter<&Table::tt_discover_count>(table, "tt_discover_count");
    enter<&Table::tt_discover_port>(table, "tt_discover_port");
    enter<&Table::tt_discover_identity>(table, "tt_discover_identity");
    enter<&Table::tt_discover_free>(table, "tt_discover_free");
    enter<&Table::tt_open>(table, "tt_open");
    enter<&Table::tt_open_serial>(table, "tt_open_serial");
    enter<&Table::tt_close>(table, "tt_close");
    enter<&Table::tt_identify>(table, "tt_identify");
    enter<&Table::tt_status_string>(table, "tt_status_string");
    enter<&Table::cycle_ftdi_usb_device_summary>(table, "cycle_ftdi_usb_device_summary");
    enter<&Table::ensure_ftdi_fifo_eeprom_summary>(table, "ensure_ftdi_fifo_eeprom_summary");
    enteredNames().push_back("tt_last_error");
    table.tt_last_error = &lastError;
}

void enterSettings(timing::DriverTable& table) {
    using Table = timing::DriverTable;
    enter<&Table::tt_set_dac_codes>(table, "tt_set_dac_codes");
    enter<&Table::tt_set_input_dead_times>(table, "tt_set_input_dead_times");
    enter<&Table::tt_set_tdl_active_masks>(table, "tt_set_tdl_active_masks");
    enter<&Table::tt_set_reference_clock>(table, "tt_set_reference_clock");
    enter<&Table::tt_get_reference_clock_status>(table, "tt_get_reference_clock_status");
    enter<&Table::tt_set_calibration_freq>(table, "tt_set_calibration_freq");
    enter<&Table::tt_enable_calibration_source>(table, "tt_enable_calibration_source");
    enter<&Table::tt_disable_calibration_source>(table, "tt_disable_calibration_source");
    enter<&Table::tt_set_test_signal>(table, "tt_set_test_signal");
}

void enterMeasurements(timing::DriverTable& table) {
    using Table = timing::DriverTable;
    enter<&Table::tt_set_period_cycles>(table, "tt_set_period_cycles");
    enter<&Table::tt_set_window_cycles>(table, "tt_set_window_cycles");
    enter<&Table::tt_start_count_stream>(table, "tt_start_count_stream");
    enter<&Table::tt_read_count_stream_sample>(table, "tt_read_count_stream_sample");
    enter<&Table::tt_stop_measurement_stream>(table, "tt_stop_measurement_stream");
    enter<&Table::tt_set_hw_coincidence_mask>(table, "tt_set_hw_coincidence_mask");
    enter<&Table::tt_set_hw_coincidence_offset_ps>(table, "tt_set_hw_coincidence_offset_ps");
    enter<&Table::tt_run_coincidence>(table, "tt_run_coincidence");
    enter<&Table::tt_set_stream_interface>(table, "tt_set_stream_interface");
    enter<&Table::tt_set_stream_channel_mask>(table, "tt_set_stream_channel_mask");
    enter<&Table::tt_set_packed_delta_config>(table, "tt_set_packed_delta_config");
    enter<&Table::tt_start_stream_mode>(table, "tt_start_stream_mode");
    enter<&Table::tt_stop_stream_mode>(table, "tt_stop_stream_mode");
    enter<&Table::tt_read_stream_bytes>(table, "tt_read_stream_bytes");
    enter<&Table::tt_start_calibration_stream>(table, "tt_start_calibration_stream");
    enter<&Table::tt_start_calibration_sweep_stream>(table, "tt_start_calibration_sweep_stream");
    enter<&Table::tt_stop_calibration_stream>(table, "tt_stop_calibration_stream");
    enter<&Table::tt_upload_calibration_file>(table, "tt_upload_calibration_file");
    enter<&Table::tt_get_calibration_path>(table, "tt_get_calibration_path");
}

} // namespace

FaultingDriver::FaultingDriver(const timing::DriverTable& servedTable) : served(servedTable) {
    inForce = this;
    enteredNames().clear();
    enterDiscovery(faulty);
    enterSettings(faulty);
    enterMeasurements(faulty);
}

FaultingDriver::~FaultingDriver() {
    inForce = nullptr;
}

const std::vector<std::string>& FaultingDriver::functions() {
    return enteredNames();
}

void FaultingDriver::begin(std::optional<Fault> fault) {
    const std::lock_guard lock(mutex);
    calls.clear();
    wanted = std::move(fault);
    countedFrom.reset();
    if (wanted && wanted->after.empty()) {
        countedFrom = 0;
    }
    failed = false;
}

FaultingDriver::Counts FaultingDriver::counts() const {
    const std::lock_guard lock(mutex);
    return calls;
}

std::uint64_t FaultingDriver::count(std::string_view function) const {
    const std::lock_guard lock(mutex);
    const auto found = calls.find(function);
    return found == calls.end() ? 0 : found->second;
}

bool FaultingDriver::hasFailed() const {
    const std::lock_guard lock(mutex);
    return failed;
}

void FaultingDriver::holdNext(std::string_view function) {
    const std::lock_guard lock(mutex);
    held = function;
}

bool FaultingDriver::isHolding() const {
    const std::lock_guard lock(mutex);
    return holding;
}

void FaultingDriver::letGo() {
    const std::lock_guard lock(mutex);
    held.clear();
    ++releases;
    released.notify_all();
}

bool FaultingDriver::isFault(std::string_view function, std::uint64_t number) const {
    return wanted && countedFrom && function == wanted->function && number == *countedFrom + wanted->number;
}

std::optional<FaultingDriver::Effect> FaultingDriver::meets(const char* function) {
    std::unique_lock lock(mutex);
    const std::uint64_t number = ++calls[function];
    std::optional<Effect> fails;
    if (isFault(function, number)) {
        fails = wanted->effect;
    }
    if (wanted && !countedFrom && function == wanted->after && number == wanted->afterNumber) {
        countedFrom = calls[wanted->function];
    }
    if (held == function) {
        held.clear();
        holding = true;
        released.wait(lock, [this, before = releases] { return releases != before; });
        holding = false;
        fails = Effect::None;
    }
    failed = failed || fails.has_value();
    return fails;
}

} // namespace qorn::testing
