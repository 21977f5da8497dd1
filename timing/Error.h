// The exception of the device layer and the check that raises it.
#pragma once

#include "tt_driver.h"

#include <stdexcept>
#include <string>

namespace qorn::timing {

class Error : public std::runtime_error {
public:
    Error(tt_status status, const std::string& message) : std::runtime_error(message), status_(status) {}
    tt_status status() const noexcept { return status_; }

private:
    tt_status status_;
};

namespace detail {

// Throws Error with "<operation>: <status text>", and " (<detail>)" when detail is not null or empty.
[[noreturn]] void throw_status(tt_status status, const char* operation, const char* detail);

// Returns when status is 0, otherwise throw_status with the device's last error (a null device has none).
void check(tt_status status, const char* operation, const tt_device* device);

// "<status text>", followed by ": <last error>" when the device has one: the wording of settings that report
// by text instead of an exception.
std::string failure_text(tt_status status, const tt_device* device);

} // namespace detail
} // namespace qorn::timing
