// The calibration that the host holds for its instrument: delay-line tables and offsets, their file, and the
// choice of a table for an input. Owned by the controller, GUI thread only.
#pragma once

#include "FineCalibration.h"

#include <QString>

#include <array>
#include <vector>

namespace qorn::timetagger::gui {

using PendingCalTdl = timing::FineCalibration::TdlEntry;

class HostCalibration {
public:
    bool isEmpty() const { return pendingTdls.empty(); }

    // Takes tables and offsets; the serial does not count.
    void take(timing::FineCalibration calibration);

    // Replaces tables and offsets by the file's. False, with a text in `error` (may be null) and nothing
    // changed, when the path is empty, the file does not load, has no tables, or belongs to another device
    // than `serial`.
    bool loadCalibrationFileFromPath(const QString& path, const QString& serial, QString* error);

    // Writes userCalibrationFilePathFor(serial). False with a text in `error` (may be null) when that is not
    // possible.
    bool saveCalibrationFile(const QString& serial, QString* error) const;

    // Table of an input: of the line `selectedTdl`, else of the lowest line; null when there is none.
    const timing::FineLut* pickHostLut(int channel, int selectedTdl) const;

    // All of it in the file's form.
    timing::FineCalibration currentCalibration(const QString& serial) const;

private:
    std::vector<PendingCalTdl> pendingTdls;
    std::array<std::array<std::uint32_t, timing::FineCalibration::kTdlSlots>, timing::kChannels>
        tdlOffsetPs{};
};

// The serial as a part of a file name: letters, digits and "-" stay, the rest becomes "_". Never empty.
QString fileNameSerial(const QString& serial);

// Where the calibration of a device is saved for this user.
QString userCalibrationFilePathFor(const QString& serial);

// The file that the driver names for a device's calibration; empty without a serial or when it names none.
QString calibrationFilePathFor(const QString& serial);

} // namespace qorn::timetagger::gui
