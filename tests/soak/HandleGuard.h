// Watches that no handle of the driver is used by two threads at once: a driver table in front of another
// one. One at a time; made before the first handle is opened, and outlives the last one. Any thread.
#pragma once

#include "Driver.h"

#include <cstdint>
#include <string>

namespace qorn::soak {

class HandleGuard {
public:
    // `table` must live as long as the guard.
    explicit HandleGuard(const timing::DriverTable& table);
    ~HandleGuard();
    HandleGuard(const HandleGuard&) = delete;
    HandleGuard& operator=(const HandleGuard&) = delete;

    std::uint64_t calls() const;
    std::uint64_t violations() const;
    // The two functions that met first; empty while there was no violation.
    std::string firstViolation() const;

private:
    timing::DriverTable guarded;
    const timing::DriverTable* earlier = nullptr;
};

} // namespace qorn::soak
