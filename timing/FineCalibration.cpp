#include "FineCalibration.h"

#include "ByteReader.h"
#include "Error.h"
#include "FileBytes.h"

#include <filesystem>
#include <fstream>
#include <utility>

namespace qorn::timing {
namespace {

constexpr std::string_view kMagic = "XCAL";
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kLongestSerial = 256;
constexpr std::uint32_t kMostTdls = 8;
// A complete file is at most so large: header, tables of all inputs and lines, offsets.
constexpr std::size_t kLargestFile =
    16 + kLongestSerial + kMostTdls * (1 + kChannels * (4 + std::size_t{FineLut::kMostFileEntries} * 8)) + 80;

class ByteWriter {
public:
    template <typename Number>
    void number(Number value) {
        for (std::size_t index = 0; index < sizeof value; ++index) {
            bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * index)));
        }
    }

    void text(std::string_view characters) {
        bytes.insert(bytes.end(), characters.begin(), characters.end());
    }

    std::vector<std::uint8_t> bytes;
};

} // namespace

void save_calibration_file(const std::string& path, const FineCalibration& calibration) {
    const std::vector<std::uint8_t> bytes = encode_calibration_file(calibration);
    const std::filesystem::path target(path);
    std::error_code ignored; // a missing folder shows when the file is opened
    std::filesystem::create_directories(target.parent_path(), ignored);
    std::ofstream file(target, std::ios::binary | std::ios::trunc);
    if (!file) {
        throw Error(TT_FILE_ERROR, "save_calibration_file: cannot open " + path);
    }
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw Error(TT_FILE_ERROR, "save_calibration_file: write failed");
    }
}

std::vector<std::uint8_t> encode_calibration_file(const FineCalibration& calibration) {
    ByteWriter writer;
    writer.text(kMagic);
    writer.number(kVersion);
    writer.number(static_cast<std::uint32_t>(calibration.serial.size()));
    writer.text(calibration.serial);
    writer.number(static_cast<std::uint32_t>(calibration.tdls.size()));
    for (const FineCalibration::TdlEntry& entry : calibration.tdls) {
        writer.number(entry.tdl_index);
        for (const FineLut& lut : entry.luts) {
            writer.number(static_cast<std::uint32_t>(lut.entries.size()));
            for (const std::int64_t value : lut.entries) {
                writer.number(value);
            }
        }
    }
    for (const auto& input : calibration.tdl_offset_ps) {
        for (const std::uint32_t offset : input) {
            writer.number(offset);
        }
    }
    return std::move(writer.bytes);
}

bool load_calibration_file(const std::string& path, FineCalibration& calibration) {
    const auto bytes = read_file_bytes(path, kLargestFile);
    return bytes && decode_calibration_file(*bytes, calibration);
}

bool decode_calibration_file(std::span<const std::uint8_t> bytes, FineCalibration& calibration) {
    ByteReader reader(bytes);
    if (reader.text(kMagic.size()) != kMagic || reader.u32() != kVersion) {
        return false;
    }
    FineCalibration loaded;
    const std::uint32_t serial_length = reader.u32();
    if (serial_length > kLongestSerial) {
        return false;
    }
    loaded.serial = reader.text(serial_length);
    const std::uint32_t count = reader.u32();
    if (count < 1 || count > kMostTdls) {
        return false;
    }
    loaded.tdls.resize(count);
    for (FineCalibration::TdlEntry& entry : loaded.tdls) {
        entry.tdl_index = reader.u8();
        for (FineLut& lut : entry.luts) {
            const std::uint32_t entries = reader.u32();
            if (entries < 1 || entries > FineLut::kMostFileEntries) {
                return false;
            }
            lut.entries = reader.i64s(entries);
        }
    }
    for (auto& input : loaded.tdl_offset_ps) {
        for (std::uint32_t& offset : input) {
            offset = reader.u32();
        }
    }
    if (!reader.ok()) {
        return false;
    }
    calibration = std::move(loaded);
    return true;
}

} // namespace qorn::timing
