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

class Writer {
public:
    explicit Writer(std::ofstream& stream) : file(stream) {}

    template <typename Number>
    void number(Number value) {
        char bytes[sizeof value];
        for (std::size_t index = 0; index < sizeof value; ++index) {
            bytes[index] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * index));
        }
        file.write(bytes, sizeof bytes);
    }

    void text(std::string_view characters) {
        file.write(characters.data(), static_cast<std::streamsize>(characters.size()));
    }

private:
    std::ofstream& file;
};

} // namespace

void save_calibration_file(const std::string& path, const FineCalibration& calibration) {
    const std::filesystem::path target(path);
    std::error_code ignored; // a missing folder shows when the file is opened
    std::filesystem::create_directories(target.parent_path(), ignored);
    std::ofstream file(target, std::ios::binary | std::ios::trunc);
    if (!file) {
        throw Error(TT_FILE_ERROR, "save_calibration_file: cannot open " + path);
    }
    Writer writer(file);
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
    file.close();
    if (!file) {
        throw Error(TT_FILE_ERROR, "save_calibration_file: write failed");
    }
}

bool load_calibration_file(const std::string& path, FineCalibration& calibration) {
    const auto bytes = read_file_bytes(path, kLargestFile);
    if (!bytes) {
        return false;
    }
    ByteReader reader(*bytes);
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
