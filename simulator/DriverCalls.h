// What the handles of the C interface stand for, and the frame around each call: faults of the scene, the
// unit that may have gone, and failures that become a status and a text. Shared by the sources of the
// interface alone.
#pragma once

#include "DeviceError.h"
#include "Instrument.h"
#include "Registry.h"

#include <chrono>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <utility>

// Ends with the close of the handle; one thread at a time uses it, and another one reads the stream.
struct tt_device {
    std::shared_ptr<qorn::simulator::Unit> unit;
    std::unique_ptr<qorn::simulator::Instrument> instrument;
    std::chrono::steady_clock::time_point openedAt;

    void requirePresence() const {
        if (!unit->script.pluggedSince(openedAt, std::chrono::steady_clock::now())) {
            throw qorn::simulator::DeviceError(TT_NO_DEVICE, "the unit was unplugged");
        }
    }
};

struct tt_discovery {
    std::vector<qorn::simulator::Registry::Listed> units;
};

namespace qorn::simulator {

Registry& registry();

// Keeps the text of a failure for tt_last_error on this thread and returns its status.
tt_status remember(const tt_device* device, tt_status status, const char* text);

// Lets the scene's script have its way with a call first. A time-out that it asks for takes the caller's
// time.
void playFaults(FaultScript& script, const char* call, std::chrono::milliseconds timeout);

// Runs what a call does, as every call without a handle's own frame does.
template <typename Action>
tt_status guarded(const tt_device* device, Action action) {
    try {
        remember(device, TT_OK, "");
        action();
        return TT_OK;
    } catch (const DeviceError& error) {
        return remember(device, error.status, error.what());
    } catch (const std::exception& error) {
        return remember(device, TT_FAILED, error.what());
    }
}

// Runs a command of an open handle: action(instrument).
template <typename Action>
tt_status command(tt_device* device, const char* call, Action action,
                  std::chrono::milliseconds timeout = std::chrono::milliseconds{0}) {
    return guarded(device, [&] {
        if (device == nullptr) {
            throw DeviceError(TT_NOT_OPEN, "there is no open unit");
        }
        playFaults(device->unit->script, call, timeout);
        device->requirePresence();
        action(*device->instrument);
    });
}

// The caller's record or array; a null pointer is refused.
template <typename Target>
Target& required(Target* pointer) {
    if (pointer == nullptr) {
        throw DeviceError(TT_FAILED, "a pointer of the call is null");
    }
    return *pointer;
}

} // namespace qorn::simulator
