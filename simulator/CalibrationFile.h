// Reads and checks a calibration file as the firmware does before it takes the tables over.
#pragma once

#include "TimeBase.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace qorn::simulator {

struct CalibrationTables {
    struct Line {
        std::uint8_t line = 0;
        std::array<std::vector<std::int64_t>, kInputs> tables; // by fine code, in ps
    };
    std::string serial; // may be empty
    std::vector<Line> lines;
};

class CalibrationFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws CalibrationFileError, whose text says what is wrong with which part.
CalibrationTables readCalibrationFile(const std::filesystem::path& path);

} // namespace qorn::simulator
