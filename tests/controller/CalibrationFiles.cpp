#include "CalibrationFiles.h"

namespace qorn::timetagger::gui::test {

timing::FineLut tableOf(int line, int input) {
    const std::int64_t first = 100 * line + 10 * input;
    return {{first, first + 1, first + 2}};
}

timing::FineCalibration calibrationOf(const std::string& serial, const std::vector<int>& lines) {
    timing::FineCalibration calibration;
    calibration.serial = serial;
    for (const int line : lines) {
        timing::FineCalibration::TdlEntry entry;
        entry.tdl_index = static_cast<std::uint8_t>(line);
        for (int input = 0; input < timing::kChannels; ++input) {
            entry.luts[static_cast<std::size_t>(input)] = tableOf(line, input);
        }
        calibration.tdls.push_back(std::move(entry));
    }
    std::uint32_t number = 0;
    for (auto& offsets : calibration.tdl_offset_ps) {
        for (std::uint32_t& offset : offsets) {
            offset = ++number;
        }
    }
    return calibration;
}

std::string writeCalibration(const std::string& path, const timing::FineCalibration& calibration) {
    timing::save_calibration_file(path, calibration);
    return path;
}

} // namespace qorn::timetagger::gui::test
