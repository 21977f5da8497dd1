// Calibration files that a test puts on disk.
#pragma once

#include "FineCalibration.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qorn::timetagger::gui::test {

// The tables of the given delay lines: of line t and input c three entries 100 t + 10 c and following.
timing::FineCalibration calibrationOf(const std::string& serial, const std::vector<int>& lines);
timing::FineLut tableOf(int line, int input);

// Writes it and returns the path.
std::string writeCalibration(const std::string& path, const timing::FineCalibration& calibration);

} // namespace qorn::timetagger::gui::test
