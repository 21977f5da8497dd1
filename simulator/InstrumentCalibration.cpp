#include "Instrument.h"

#include "CalibrationFile.h"
#include "DeviceError.h"

namespace qorn::simulator {

void Instrument::uploadCalibration(const std::filesystem::path& path) {
    if (!spec.faults.uploadFails.empty()) {
        throw DeviceError(TT_FAILED, spec.faults.uploadFails);
    }
    CalibrationTables tables;
    try {
        tables = readCalibrationFile(path);
    } catch (const CalibrationFileError& error) {
        throw DeviceError(TT_FILE_ERROR, error.what());
    }
    if (!tables.serial.empty() && tables.serial != spec.serial) {
        throw DeviceError(TT_REJECTED, "the calibration file is for the unit " + tables.serial);
    }
    const Lock lock(mutex);
    requireIdle();
    for (const CalibrationTables::Line& line : tables.lines) {
        if (line.line >= kDelayLines) {
            continue;
        }
        for (int input = 0; input < kInputs; ++input) {
            lines.upload(input, line.line, line.tables[static_cast<std::size_t>(input)]);
        }
    }
    // loading the tables leaves each input on its first delay line
    inputs.tdlMasks.fill(1);
}

} // namespace qorn::simulator
