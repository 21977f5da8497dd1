// A command that a unit refuses or cannot carry out: the status for the caller and the detail for
// tt_last_error.
#pragma once

#include <tt_driver.h>

#include <stdexcept>
#include <string>

namespace qorn::simulator {

class DeviceError : public std::runtime_error {
public:
    DeviceError(tt_status code, const std::string& detail) : std::runtime_error(detail), status(code) {}

    tt_status status;
};

} // namespace qorn::simulator
