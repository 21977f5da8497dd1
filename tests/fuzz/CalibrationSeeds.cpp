// Writes the seeds of the calibration files' fuzz target into a folder: calibrations with small tables, and
// files with one fault each. `qorn_calibration_seeds tests/fuzz/corpus/calibration` makes the files that are
// kept beside this one.
#include "FineCalibration.h"
#include "SeedFolder.h"

#include <limits>

namespace {

using namespace qorn::timing;
using qorn::fuzz::SeedFolder;
using Bytes = std::vector<std::uint8_t>;

// Places in a file without a serial.
constexpr std::size_t kVersionAt = 4;
constexpr std::size_t kSerialLengthAt = 8;
constexpr std::size_t kLineCountAt = 12;
constexpr std::size_t kEntryCountAt = 17;

FineCalibration calibrationOf(std::size_t lines, std::size_t entries) {
    FineCalibration calibration;
    for (std::size_t line = 0; line < lines; ++line) {
        FineCalibration::TdlEntry& entry = calibration.tdls.emplace_back();
        entry.tdl_index = static_cast<std::uint8_t>(line);
        for (FineLut& lut : entry.luts) {
            for (std::size_t code = 0; code < entries; ++code) {
                lut.entries.push_back(static_cast<std::int64_t>(18 * code + line));
            }
        }
    }
    calibration.tdl_offset_ps[1][2] = 3332;
    return calibration;
}

FineCalibration calibrationOfOddNumbers() {
    using Limits = std::numeric_limits<std::int64_t>;
    FineCalibration calibration = calibrationOf(1, 0);
    calibration.serial.assign(256, '\xff');
    calibration.tdls[0].tdl_index = 255;
    for (FineLut& lut : calibration.tdls[0].luts) {
        lut.entries = {Limits::max(), Limits::min(), -1};
    }
    calibration.tdl_offset_ps[3][4] = std::numeric_limits<std::uint32_t>::max();
    return calibration;
}

Bytes withNumberAt(Bytes bytes, std::size_t at, std::uint32_t number) {
    for (std::size_t index = 0; index < 4; ++index) {
        bytes[at + index] = static_cast<std::uint8_t>(number >> (8 * index));
    }
    return bytes;
}

Bytes first(const Bytes& bytes, std::size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

void writeSeeds(SeedFolder& folder) {
    FineCalibration named = calibrationOf(3, 4);
    named.serial = "SIM00001";
    const Bytes one = encode_calibration_file(calibrationOf(1, 2));
    Bytes longer = one;
    longer.push_back(0);
    Bytes otherMagic = one;
    otherMagic[0] = 'Y';
    folder.write("three-lines", encode_calibration_file(named));
    folder.write("one-line", one);
    folder.write("eight-lines", encode_calibration_file(calibrationOf(8, 1)));
    folder.write("odd-numbers", encode_calibration_file(calibrationOfOddNumbers()));
    folder.write("more-bytes", longer);
    folder.write("no-bytes", "");
    folder.write("magic-only", first(one, 4));
    folder.write("other-magic", otherMagic);
    folder.write("other-version", withNumberAt(one, kVersionAt, 2));
    folder.write("forged-serial", withNumberAt(one, kSerialLengthAt, 256));
    folder.write("long-serial", withNumberAt(one, kSerialLengthAt, 257));
    folder.write("no-lines", encode_calibration_file(calibrationOf(0, 0)));
    folder.write("nine-lines", encode_calibration_file(calibrationOf(9, 1)));
    folder.write("forged-lines", withNumberAt(one, kLineCountAt, 8));
    folder.write("no-entries", encode_calibration_file(calibrationOf(1, 0)));
    folder.write("forged-entries", withNumberAt(one, kEntryCountAt, 1048576));
    folder.write("too-many-entries", withNumberAt(one, kEntryCountAt, 1048577));
    folder.write("cut-table", first(one, kEntryCountAt + 4 + 8 + 7));
    folder.write("cut-offsets", first(one, one.size() - 1));
}

} // namespace

int main(int argc, char** argv) {
    return qorn::fuzz::writeCorpus(argc, argv, [](const std::filesystem::path& corpus) {
        SeedFolder folder(corpus);
        writeSeeds(folder);
        return folder.isFine();
    });
}
