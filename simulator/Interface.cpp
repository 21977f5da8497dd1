#include "Interface.h"

#include "DriverCalls.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

using namespace qorn::simulator;

namespace qorn::simulator {

namespace {

// The last failure on a thread and the handle that it happened to.
struct LastError {
    const tt_device* device = nullptr;
    std::string text;
};

LastError& lastError() {
    thread_local LastError error;
    return error;
}

} // namespace

Registry& registry() {
    static Registry units; // the C interface has no other place for it
    return units;
}

tt_status remember(const tt_device* device, tt_status status, const char* text) {
    lastError().device = device;
    lastError().text = text;
    return status;
}

void playFaults(FaultScript& script, const char* call, std::chrono::milliseconds timeout) {
    const FaultScript::Verdict verdict = script.onCall(call, std::chrono::steady_clock::now());
    std::this_thread::sleep_for(verdict.delay);
    if (verdict.status == TT_OK) {
        return;
    }
    if (verdict.status == TT_TIMED_OUT) {
        std::this_thread::sleep_for(timeout);
    }
    throw DeviceError(verdict.status, std::string("the scene lets ") + call + " fail");
}

} // namespace qorn::simulator

tt_status tt_discover(tt_discovery** list) {
    return guarded(nullptr, [&] {
        tt_discovery*& out = required(list);
        out = new tt_discovery{registry().list()}; // until tt_discover_free
    });
}

std::size_t tt_discover_count(const tt_discovery* list) {
    return list == nullptr ? 0 : list->units.size();
}

const char* tt_discover_port(const tt_discovery* list, std::size_t index) {
    return index < tt_discover_count(list) ? list->units[index].port.c_str() : nullptr;
}

const tt_identity* tt_discover_identity(const tt_discovery* list, std::size_t index) {
    return index < tt_discover_count(list) ? &list->units[index].identity : nullptr;
}

void tt_discover_free(tt_discovery* list) {
    delete list;
}

tt_status tt_open(tt_device** device, const char* port, int baud) {
    return guarded(nullptr, [&] {
        tt_device*& out = required(device);
        if (baud <= 0) {
            throw DeviceError(TT_REJECTED, "the baud rate must be above 0");
        }
        std::shared_ptr<Unit> unit = registry().acquire(&required(port));
        try {
            playFaults(unit->script, "tt_open", std::chrono::milliseconds{0});
            auto opened = std::make_unique<tt_device>();
            opened->unit = unit;
            opened->instrument = std::make_unique<Instrument>(unit->spec, unit->scene);
            opened->openedAt = std::chrono::steady_clock::now();
            out = opened.release();
        } catch (...) {
            registry().release(unit);
            throw;
        }
    });
}

tt_status tt_open_serial(tt_device** device, const char* port) {
    return tt_open(device, port, 3000000);
}

void tt_close(tt_device* device) {
    if (device != nullptr) {
        registry().release(device->unit);
        delete device;
    }
}

tt_status tt_identify(tt_device* device, tt_identity* identity) {
    return command(device, "tt_identify",
                   [&](Instrument&) { required(identity) = identityOf(device->unit->spec.serial); });
}

const char* tt_last_error(const tt_device* device) {
    const LastError& error = lastError();
    return device == nullptr || error.device == device ? error.text.c_str() : "";
}

const char* tt_status_string(tt_status status) {
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
        return "not supported by the device image";
    case TT_NO_DEVICE:
        return "no device";
    case TT_NOT_OPEN:
        return "device is not open";
    case TT_REJECTED:
        return "rejected by the device";
    case kSceneRefused:
        return *registry().refusal() != '\0' ? registry().refusal() : "scene refused";
    default:
        return "unknown status";
    }
}

tt_status tt_get_calibration_path(const char* serial, char* out, std::size_t capacity) {
    return guarded(nullptr, [&] {
        std::string name = &required(serial);
        if (name.empty()) {
            throw DeviceError(TT_REJECTED, "a calibration file needs a serial");
        }
        std::replace_if(
            name.begin(), name.end(),
            [](unsigned char c) { return c >= 128 || (std::isalnum(c) == 0 && c != '-'); }, '_');
        const char* home = std::getenv("HOME");
        const std::string folder = home == nullptr || *home == '\0' ? "." : home;
        const std::string path = folder + "/.qorn.timing/calibrations/qorn_cal_" + name + ".cal";
        if (path.size() + 1 > capacity) {
            throw DeviceError(TT_FAILED, "the path of the calibration file does not fit");
        }
        std::memcpy(&required(out), path.c_str(), path.size() + 1);
    });
}

namespace {

// Terminated unless it fills the buffer.
void putSummary(const std::string& text, char* out, unsigned long capacity) {
    if (out != nullptr) {
        std::memcpy(out, text.c_str(), std::min<std::size_t>(text.size() + 1, capacity));
    }
}

} // namespace

bool qorn::timing::cycle_ftdi_usb_device_summary(const char* port, char* out, unsigned long capacity) {
    std::string summary;
    const tt_status status = guarded(nullptr, [&] {
        registry().cycle(&required(port));
        summary = std::string("The simulated unit at ") + port + " was unplugged and plugged in again.";
    });
    if (status != TT_OK) {
        summary = std::string("USB reset failed: ") + tt_last_error(nullptr) + ".";
    }
    putSummary(summary, out, capacity);
    return status == TT_OK;
}

bool qorn::timing::ensure_ftdi_fifo_eeprom_summary(char* out, unsigned long capacity) {
    // a simulated unit has no EEPROM; what a scan should tell instead is that the scene is not the wanted one
    const std::string refusal = registry().refusal();
    putSummary(refusal, out, capacity);
    return !refusal.empty();
}
