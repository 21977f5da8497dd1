#include "CalibrationFile.h"

#include "DelayLines.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <span>
#include <string_view>

namespace qorn::simulator {

namespace {

constexpr std::string_view kMagic = "XCAL";
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kLongestSerial = 256;
constexpr std::uint32_t kMostLines = 8;
constexpr std::uint8_t kHighestLine = 4; // the offsets have room for five lines
constexpr std::size_t kOffsetCount = 20;

class Reader {
public:
    explicit Reader(std::ifstream& stream) : in(stream) {}

    template <typename Value>
    Value number(const char* what) {
        std::array<char, sizeof(Value)> raw{};
        bytes(raw, what);
        std::uint64_t value = 0;
        for (std::size_t i = raw.size(); i-- > 0;) {
            value = value << 8 | static_cast<unsigned char>(raw[i]);
        }
        return static_cast<Value>(value);
    }

    void bytes(std::span<char> out, const char* what) {
        in.read(out.data(), static_cast<std::streamsize>(out.size()));
        if (static_cast<std::size_t>(in.gcount()) != out.size()) {
            throw CalibrationFileError(std::string("the calibration file ends inside its ") + what);
        }
    }

private:
    std::ifstream& in;
};

[[noreturn]] void refuse(const std::string& what) {
    throw CalibrationFileError("the calibration file " + what);
}

std::vector<std::int64_t> readTable(Reader& reader) {
    const auto count = reader.number<std::uint32_t>("tables");
    if (count == 0 || count > kFineCodes) {
        refuse("has a table of " + std::to_string(count) + " entries, the unit holds " +
               std::to_string(kFineCodes));
    }
    std::vector<std::int64_t> table(count);
    for (std::int64_t& entry : table) {
        entry = reader.number<std::int64_t>("tables");
        if (entry < 0 || entry >= kTickPs) {
            refuse("has an entry of " + std::to_string(entry) + " ps, outside of a coarse period");
        }
    }
    if (!std::is_sorted(table.begin(), table.end())) {
        refuse("has a table that falls");
    }
    return table;
}

} // namespace

CalibrationTables readCalibrationFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw CalibrationFileError("cannot open the calibration file " + path.string());
    }
    Reader reader(file);
    std::array<char, 4> magic{};
    reader.bytes(magic, "magic");
    if (std::string_view(magic.data(), magic.size()) != kMagic) {
        refuse("does not begin with XCAL");
    }
    const auto version = reader.number<std::uint32_t>("version");
    if (version != kVersion) {
        refuse("has version " + std::to_string(version) + ", the unit knows 1");
    }
    CalibrationTables tables;
    const auto serialLength = reader.number<std::uint32_t>("serial");
    if (serialLength > kLongestSerial) {
        refuse("has a serial of " + std::to_string(serialLength) + " bytes");
    }
    tables.serial.resize(serialLength);
    reader.bytes(tables.serial, "serial");
    const auto lines = reader.number<std::uint32_t>("delay lines");
    if (lines == 0 || lines > kMostLines) {
        refuse("tells of " + std::to_string(lines) + " delay lines");
    }
    for (std::uint32_t i = 0; i < lines; ++i) {
        CalibrationTables::Line& line = tables.lines.emplace_back();
        line.line = reader.number<std::uint8_t>("delay lines");
        if (line.line > kHighestLine) {
            refuse("names delay line " + std::to_string(line.line));
        }
        for (auto& table : line.tables) {
            table = readTable(reader);
        }
    }
    for (std::size_t i = 0; i < kOffsetCount; ++i) {
        if (reader.number<std::uint32_t>("offsets") >= kTickPs) {
            refuse("has an offset outside of a coarse period");
        }
    }
    return tables;
}

} // namespace qorn::simulator
