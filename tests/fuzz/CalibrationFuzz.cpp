// Any bytes as a calibration file: refused without effect, or taken, and then what is written of it is the
// file again.
#include "FineCalibration.h"
#include "FuzzTarget.h"

#include <algorithm>

namespace {

using namespace qorn::timing;
using qorn::testing::require;

FineCalibration earlierCalibration() {
    FineCalibration calibration;
    calibration.serial = "earlier";
    calibration.tdls.resize(2);
    calibration.tdls[1].luts[3].entries = {-1, 5};
    calibration.tdl_offset_ps[3][4] = 17;
    return calibration;
}

void checkTaken(const FineCalibration& calibration, std::span<const std::uint8_t> file) {
    require(calibration.serial.size() <= 256, "a serial has 256 bytes at most");
    require(!calibration.tdls.empty() && calibration.tdls.size() <= 8, "there are one to eight lines");
    for (const FineCalibration::TdlEntry& line : calibration.tdls) {
        for (const FineLut& lut : line.luts) {
            require(!lut.entries.empty() && lut.entries.size() <= FineLut::kMostFileEntries,
                    "a table has entries, and not too many");
        }
    }
    const std::vector<std::uint8_t> written = encode_calibration_file(calibration);
    require(written.size() <= file.size() && std::equal(written.begin(), written.end(), file.begin()),
            "a calibration is written as it was read");
    FineCalibration again;
    require(decode_calibration_file(written, again) && again == calibration,
            "a written calibration comes back");
    require(!decode_calibration_file(std::span(written).first(written.size() - 1), again),
            "the last byte belongs to the file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::span<const std::uint8_t> file(bytes, size);
    FineCalibration calibration = earlierCalibration();
    if (decode_calibration_file(file, calibration)) {
        checkTaken(calibration, file);
    } else {
        require(calibration == earlierCalibration(), "a refusal leaves the calibration alone");
    }
    return 0;
}
