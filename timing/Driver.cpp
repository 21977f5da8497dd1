#include "Driver.h"

#include "Error.h"

#include <dlfcn.h>

#include <atomic>
#include <clocale>
#include <memory>
#include <mutex>

namespace qorn::timing {
namespace {

// The C++ functions are found under the names that the ABI gives them.
constexpr const char* kCycleSymbol = "_ZN4qorn6timing29cycle_ftdi_usb_device_summaryEPKcPcm";
constexpr const char* kEepromSymbol = "_ZN4qorn6timing31ensure_ftdi_fifo_eeprom_summaryEPcm";

struct Loaded {
    std::mutex mutex; // guards the loading, not the use
    std::unique_ptr<const DriverTable> own;
    std::atomic<const DriverTable*> current{nullptr};
    std::atomic<bool> simulated{false};
};

Loaded& loaded() {
    static Loaded state;
    return state;
}

class Resolver {
public:
    Resolver(void* handle, const std::string& name) : library(handle), file(name) {}

    template <typename Function>
    void operator()(Function& slot, const char* symbol) const {
        void* address = dlsym(library, symbol);
        if (address == nullptr) {
            throw Error(TT_FAILED,
                        "The driver library " + file + " does not have the function " + symbol + ".");
        }
        slot = reinterpret_cast<Function>(address);
    }

private:
    void* library;
    const std::string& file;
};

DriverTable resolve_all(void* library, const std::string& file) {
    const Resolver resolve(library, file);
    DriverTable table;
    resolve(table.tt_discover, "tt_discover");
    resolve(table.tt_discover_count, "tt_discover_count");
    resolve(table.tt_discover_port, "tt_discover_port");
    resolve(table.tt_discover_identity, "tt_discover_identity");
    resolve(table.tt_discover_free, "tt_discover_free");
    resolve(table.tt_open, "tt_open");
    resolve(table.tt_open_serial, "tt_open_serial");
    resolve(table.tt_close, "tt_close");
    resolve(table.tt_identify, "tt_identify");
    resolve(table.tt_last_error, "tt_last_error");
    resolve(table.tt_status_string, "tt_status_string");
    resolve(table.tt_set_dac_codes, "tt_set_dac_codes");
    resolve(table.tt_set_input_dead_times, "tt_set_input_dead_times");
    resolve(table.tt_set_tdl_active_masks, "tt_set_tdl_active_masks");
    resolve(table.tt_set_reference_clock, "tt_set_reference_clock");
    resolve(table.tt_get_reference_clock_status, "tt_get_reference_clock_status");
    resolve(table.tt_set_period_cycles, "tt_set_period_cycles");
    resolve(table.tt_set_window_cycles, "tt_set_window_cycles");
    resolve(table.tt_start_count_stream, "tt_start_count_stream");
    resolve(table.tt_read_count_stream_sample, "tt_read_count_stream_sample");
    resolve(table.tt_stop_measurement_stream, "tt_stop_measurement_stream");
    resolve(table.tt_set_hw_coincidence_mask, "tt_set_hw_coincidence_mask");
    resolve(table.tt_set_hw_coincidence_offset_ps, "tt_set_hw_coincidence_offset_ps");
    resolve(table.tt_run_coincidence, "tt_run_coincidence");
    resolve(table.tt_set_stream_interface, "tt_set_stream_interface");
    resolve(table.tt_set_stream_channel_mask, "tt_set_stream_channel_mask");
    resolve(table.tt_set_packed_delta_config, "tt_set_packed_delta_config");
    resolve(table.tt_set_calibration_freq, "tt_set_calibration_freq");
    resolve(table.tt_enable_calibration_source, "tt_enable_calibration_source");
    resolve(table.tt_disable_calibration_source, "tt_disable_calibration_source");
    resolve(table.tt_set_test_signal, "tt_set_test_signal");
    resolve(table.tt_start_stream_mode, "tt_start_stream_mode");
    resolve(table.tt_stop_stream_mode, "tt_stop_stream_mode");
    resolve(table.tt_read_stream_bytes, "tt_read_stream_bytes");
    resolve(table.tt_start_calibration_stream, "tt_start_calibration_stream");
    resolve(table.tt_start_calibration_sweep_stream, "tt_start_calibration_sweep_stream");
    resolve(table.tt_stop_calibration_stream, "tt_stop_calibration_stream");
    resolve(table.tt_upload_calibration_file, "tt_upload_calibration_file");
    resolve(table.tt_get_calibration_path, "tt_get_calibration_path");
    resolve(table.cycle_ftdi_usb_device_summary, kCycleSymbol);
    resolve(table.ensure_ftdi_fifo_eeprom_summary, kEepromSymbol);
    return table;
}

struct OpenResult {
    void* library = nullptr;
    std::string failure; // the loader's text when library is null
};

// The loader's texts are read below, so they must not come translated.
class UntranslatedTexts {
public:
    UntranslatedTexts() : plain(newlocale(LC_ALL_MASK, "C", locale_t{})), previous(uselocale(plain)) {}
    ~UntranslatedTexts() {
        uselocale(previous);
        freelocale(plain);
    }
    UntranslatedTexts(const UntranslatedTexts&) = delete;
    UntranslatedTexts& operator=(const UntranslatedTexts&) = delete;

private:
    locale_t plain;
    locale_t previous;
};

OpenResult open_library(const std::string& file) {
    const UntranslatedTexts untranslated;
    OpenResult result;
    result.library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (result.library == nullptr) {
        const char* text = dlerror();
        result.failure = text != nullptr ? text : "unknown loader failure";
    }
    return result;
}

// The loader says "<bare name>: cannot open shared object file: No such file or directory" when its search
// found nothing; any other failure means that there is a library, and that it does not serve.
bool was_not_found(const std::string& failure) {
    const std::string missing =
        std::string(kDriverLibrary) + ": cannot open shared object file: No such file";
    return failure.starts_with(missing);
}

} // namespace

DriverTable load_driver(const std::string& file) {
    const OpenResult opened = open_library(file);
    if (opened.library == nullptr) {
        throw Error(TT_FAILED, "The driver library " + file + " could not be loaded: " + opened.failure);
    }
    return resolve_all(opened.library, file);
}

std::filesystem::path simulator_path() {
    std::error_code failure;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return program.parent_path() / kDriverLibrary;
}

const DriverTable& driver() {
    Loaded& state = loaded();
    if (const DriverTable* table = state.current) {
        return *table;
    }
    const std::lock_guard lock(state.mutex);
    if (const DriverTable* table = state.current) {
        return *table;
    }
    const OpenResult real = open_library(kDriverLibrary);
    if (real.library != nullptr) {
        state.own = std::make_unique<const DriverTable>(resolve_all(real.library, kDriverLibrary));
        state.simulated = false;
    } else if (was_not_found(real.failure)) {
        state.own = std::make_unique<const DriverTable>(load_driver(simulator_path().string()));
        state.simulated = true;
    } else {
        throw Error(TT_FAILED, std::string("The driver library ") + kDriverLibrary +
                                   " could not be loaded: " + real.failure);
    }
    state.current = state.own.get();
    return *state.own;
}

bool driver_is_simulated() {
    driver();
    return loaded().simulated;
}

const DriverTable* exchange_driver(const DriverTable* table) {
    Loaded& state = loaded();
    const std::lock_guard lock(state.mutex);
    state.simulated = false;
    return state.current.exchange(table);
}

} // namespace qorn::timing
