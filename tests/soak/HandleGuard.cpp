#include "HandleGuard.h"

#include <atomic>
#include <map>
#include <mutex>
#include <thread>

namespace qorn::soak {
namespace {

using timing::DriverTable;

struct Use {
    std::thread::id thread;
    const char* function = nullptr;
};

// The table's functions are plain pointers, so what they share has no object to live in.
const DriverTable* behind = nullptr;
std::atomic<std::uint64_t> callCount = 0;
std::mutex mutex; // guards all below
std::map<const tt_device*, Use> uses;
std::uint64_t violationCount = 0;
std::string firstMeeting;

class InUse {
public:
    InUse(const tt_device* device, const char* function) : handle(device) {
        ++callCount;
        const std::lock_guard lock(mutex);
        const auto [entry, entered] = uses.try_emplace(handle, Use{std::this_thread::get_id(), function});
        owner = entered;
        if (!entered && entry->second.thread != std::this_thread::get_id()) {
            if (violationCount++ == 0) {
                firstMeeting = std::string(entry->second.function) + " and " + function;
            }
        }
    }
    ~InUse() {
        if (owner) {
            const std::lock_guard lock(mutex);
            uses.erase(handle);
        }
    }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;

private:
    const tt_device* handle;
    bool owner = false;
};

template <auto Member>
struct Guarded;

template <typename Result, typename Device, typename... Arguments,
          Result (*DriverTable::*Member)(Device*, Arguments...)>
struct Guarded<Member> {
    static inline const char* name = nullptr;

    static Result call(Device* device, Arguments... arguments) {
        const InUse inUse(device, name);
        return (behind->*Member)(device, arguments...);
    }
};

template <auto Member>
void guard(DriverTable& table, const char* name) {
    Guarded<Member>::name = name;
    table.*Member = &Guarded<Member>::call;
}

} // namespace

HandleGuard::HandleGuard(const DriverTable& table) : guarded(table) {
    behind = &table;
#define QORN_GUARD(function) guard<&DriverTable::function>(guarded, #function)
    QORN_GUARD(tt_close);
    QORN_GUARD(tt_identify);
    QORN_GUARD(tt_last_error);
    QORN_GUARD(tt_set_dac_codes);
    QORN_GUARD(tt_set_input_dead_times);
    QORN_GUARD(tt_set_tdl_active_masks);
    QORN_GUARD(tt_set_reference_clock);
    QORN_GUARD(tt_get_reference_clock_status);
    QORN_GUARD(tt_set_period_cycles);
    QORN_GUARD(tt_set_window_cycles);
    QORN_GUARD(tt_start_count_stream);
    QORN_GUARD(tt_read_count_stream_sample);
    QORN_GUARD(tt_stop_measurement_stream);
    QORN_GUARD(tt_set_hw_coincidence_mask);
    QORN_GUARD(tt_set_hw_coincidence_offset_ps);
    QORN_GUARD(tt_run_coincidence);
    QORN_GUARD(tt_set_stream_interface);
    QORN_GUARD(tt_set_stream_channel_mask);
    QORN_GUARD(tt_set_packed_delta_config);
    QORN_GUARD(tt_set_calibration_freq);
    QORN_GUARD(tt_enable_calibration_source);
    QORN_GUARD(tt_disable_calibration_source);
    QORN_GUARD(tt_set_test_signal);
    QORN_GUARD(tt_start_stream_mode);
    QORN_GUARD(tt_stop_stream_mode);
    QORN_GUARD(tt_read_stream_bytes);
    QORN_GUARD(tt_start_calibration_stream);
    QORN_GUARD(tt_start_calibration_sweep_stream);
    QORN_GUARD(tt_stop_calibration_stream);
    QORN_GUARD(tt_upload_calibration_file);
#undef QORN_GUARD
    earlier = timing::exchange_driver(&guarded);
}

HandleGuard::~HandleGuard() {
    timing::exchange_driver(earlier);
}

std::uint64_t HandleGuard::calls() const {
    return callCount;
}

std::uint64_t HandleGuard::violations() const {
    const std::lock_guard lock(mutex);
    return violationCount;
}

std::string HandleGuard::firstViolation() const {
    const std::lock_guard lock(mutex);
    return firstMeeting;
}

} // namespace qorn::soak
