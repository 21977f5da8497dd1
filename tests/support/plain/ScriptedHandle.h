// What the scripted driver's opaque handles are. For its own sources alone.
#pragma once

#include "ScriptedDriver.h"

#include <optional>
#include <string>
#include <thread>
#include <vector>

struct tt_device {
    bool open = true;
    std::optional<std::thread::id> user; // the thread that is inside a function now
    std::string function;                // which one
};

struct tt_discovery {
    std::vector<qorn::testing::ScriptedDriver::DiscoveryEntry> devices;
};

namespace qorn::testing {

// The driver that the plain functions serve; null outside of a ScopedDriver.
ScriptedDriver& scriptedDriverInForce();

timing::DriverTable scriptedDriverTable();

} // namespace qorn::testing
