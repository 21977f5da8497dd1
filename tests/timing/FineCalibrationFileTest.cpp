#include "FineCalibration.h"

#include "Error.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>

namespace qorn::timing {
namespace {

using testing::appendBytes;
using testing::appendLittle32;
using testing::appendLittle64;
using testing::Bytes;
using testing::readBytes;
using testing::ScopedDriver;
using testing::TemporaryFolder;
using testing::writeBytes;

// The fields of a file, so that a test can send a wrong one.
struct Fields {
    std::string magic = "XCAL";
    std::uint32_t version = 1;
    std::string serial = "SN0001";
    std::optional<std::uint32_t> tdlCount{};
    std::size_t tdls = 1;
    std::uint32_t entriesOfLast = 3; // claimed and written
    std::size_t offsets = 20;
};

std::int64_t entryOf(std::size_t tdl, std::size_t input, std::size_t code) {
    return static_cast<std::int64_t>(tdl * 1000 + input * 100 + code) - 50;
}

void appendText(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

Bytes fileOf(const Fields& fields) {
    Bytes bytes;
    appendText(bytes, fields.magic);
    appendLittle32(bytes, fields.version);
    appendLittle32(bytes, static_cast<std::uint32_t>(fields.serial.size()));
    appendText(bytes, fields.serial);
    appendLittle32(bytes, fields.tdlCount.value_or(static_cast<std::uint32_t>(fields.tdls)));
    for (std::size_t tdl = 0; tdl < fields.tdls; ++tdl) {
        bytes.push_back(static_cast<std::uint8_t>(tdl + 1));
        for (std::size_t input = 0; input < 4; ++input) {
            const bool last = tdl + 1 == fields.tdls && input == 3;
            const std::uint32_t count = last ? fields.entriesOfLast : 3;
            appendLittle32(bytes, count);
            for (std::size_t code = 0; code < count; ++code) {
                appendLittle64(bytes, static_cast<std::uint64_t>(entryOf(tdl, input, code)));
            }
        }
    }
    for (std::size_t index = 0; index < fields.offsets; ++index) {
        appendLittle32(bytes, static_cast<std::uint32_t>(index * 100 + 1));
    }
    return bytes;
}

FineCalibration calibrationOf(std::string serial, std::size_t tdls) {
    FineCalibration calibration;
    calibration.serial = std::move(serial);
    for (std::size_t tdl = 0; tdl < tdls; ++tdl) {
        FineCalibration::TdlEntry entry;
        entry.tdl_index = static_cast<std::uint8_t>(tdl + 1);
        for (std::size_t input = 0; input < 4; ++input) {
            for (std::size_t code = 0; code < 3; ++code) {
                entry.luts[input].entries.push_back(entryOf(tdl, input, code));
            }
        }
        calibration.tdls.push_back(entry);
    }
    for (std::size_t index = 0; index < 20; ++index) {
        calibration.tdl_offset_ps[index / 5][index % 5] = static_cast<std::uint32_t>(index * 100 + 1);
    }
    return calibration;
}

void expectSame(const FineCalibration& a, const FineCalibration& b) {
    EXPECT_EQ(a.serial, b.serial);
    EXPECT_EQ(a.tdl_offset_ps, b.tdl_offset_ps);
    ASSERT_EQ(a.tdls.size(), b.tdls.size());
    for (std::size_t tdl = 0; tdl < a.tdls.size(); ++tdl) {
        EXPECT_EQ(a.tdls[tdl].tdl_index, b.tdls[tdl].tdl_index);
        EXPECT_EQ(a.tdls[tdl].luts, b.tdls[tdl].luts);
    }
}

class CalibrationFile : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::string path = folder.file("a.cal");
};

TEST_F(CalibrationFile, HasItsFieldsInOrder) {
    save_calibration_file(path, calibrationOf("SN0001", 2));
    EXPECT_EQ(readBytes(path), fileOf({.tdls = 2}));
}

TEST_F(CalibrationFile, SavingMakesTheFoldersOnTheWay) {
    const std::string deep = folder.file("x/y/z.cal");
    save_calibration_file(deep, calibrationOf("SN0001", 1));
    EXPECT_EQ(readBytes(deep), fileOf({}));
}

TEST_F(CalibrationFile, SavingTruncatesAnEarlierFile) {
    writeBytes(path, Bytes(100000, 7));
    save_calibration_file(path, calibrationOf("SN0001", 1));
    EXPECT_EQ(readBytes(path), fileOf({}));
}

TEST_F(CalibrationFile, ACalibrationWithoutLinesIsWrittenAndNotLoaded) {
    save_calibration_file(path, calibrationOf("SN0001", 0));
    EXPECT_EQ(readBytes(path), fileOf({.tdls = 0}));
    FineCalibration target;
    EXPECT_FALSE(load_calibration_file(path, target));
}

TEST_F(CalibrationFile, APathThatCannotBeOpenedIsNamed) {
    try {
        save_calibration_file(folder.path().string(), calibrationOf("SN0001", 1));
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), -2);
        EXPECT_EQ(std::string(error.what()), "save_calibration_file: cannot open " + folder.path().string());
    }
}

TEST_F(CalibrationFile, AParentThatIsAFileIsAFailureOfKindMinusTwo) {
    writeBytes(path, {});
    try {
        save_calibration_file(path + "/b.cal", calibrationOf("SN0001", 1));
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), -2);
        EXPECT_EQ(std::string(error.what()), "save_calibration_file: cannot open " + path + "/b.cal");
    }
}

TEST_F(CalibrationFile, AFullDiskIsAFailedWrite) {
    FineCalibration calibration = calibrationOf("SN0001", 1);
    calibration.tdls[0].luts[0].entries.assign(100000, 1);
    try {
        save_calibration_file("/dev/full", calibration);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), -2);
        EXPECT_EQ(std::string(error.what()), "save_calibration_file: write failed");
    }
}

TEST_F(CalibrationFile, ASmallFileOnAFullDiskIsAFailedWriteToo) {
    EXPECT_THROW(save_calibration_file("/dev/full", calibrationOf("SN0001", 1)), Error);
}

TEST_F(CalibrationFile, LoadsWhatWasWritten) {
    for (const std::size_t tdls : {1U, 3U, 8U}) {
        writeBytes(path, fileOf({.tdls = tdls}));
        FineCalibration target = calibrationOf("earlier", 2);
        ASSERT_TRUE(load_calibration_file(path, target));
        expectSame(target, calibrationOf("SN0001", tdls));
    }
}

TEST_F(CalibrationFile, AcceptsEveryFieldAtItsLimit) {
    for (const Fields& fields : {Fields{.serial = ""}, Fields{.serial = std::string(256, 's')},
                                 Fields{.entriesOfLast = 1}, Fields{.entriesOfLast = 1048576}}) {
        writeBytes(path, fileOf(fields));
        FineCalibration target;
        EXPECT_TRUE(load_calibration_file(path, target));
        EXPECT_EQ(target.serial, fields.serial);
        EXPECT_EQ(target.tdls.at(0).luts[3].entries.size(), fields.entriesOfLast);
    }
}

TEST_F(CalibrationFile, RefusesEveryFieldBeyondItsLimitAndLeavesTheTargetAlone) {
    const std::vector<std::pair<const char*, Fields>> rows{
        {"magic", {.magic = "XCAM"}},
        {"lower-case magic", {.magic = "xcal"}},
        {"version 0", {.version = 0}},
        {"version 2", {.version = 2}},
        {"serial of 257 bytes", {.serial = std::string(257, 's')}},
        {"no lines", {.tdls = 0}},
        {"nine lines", {.tdls = 9}},
        {"line count without lines", {.tdlCount = 2}},
        {"a table of no entries", {.entriesOfLast = 0}},
        {"a table of too many entries", {.entriesOfLast = 1048577}},
        {"no offsets", {.offsets = 0}},
        {"an end inside the offsets", {.offsets = 19}},
    };
    for (const auto& [name, fields] : rows) {
        writeBytes(path, fileOf(fields));
        FineCalibration target = calibrationOf("earlier", 2);
        EXPECT_FALSE(load_calibration_file(path, target)) << name;
        expectSame(target, calibrationOf("earlier", 2));
    }
}

TEST_F(CalibrationFile, EveryCutIsRefused) {
    const Bytes whole = fileOf({});
    FineCalibration target;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        writeBytes(path, std::span(whole).first(length));
        ASSERT_FALSE(load_calibration_file(path, target)) << length;
    }
}

TEST_F(CalibrationFile, AMissingFileAndAFolderAreRefused) {
    FineCalibration target;
    EXPECT_FALSE(load_calibration_file(folder.file("missing.cal"), target));
    EXPECT_FALSE(load_calibration_file(folder.path().string(), target));
}

TEST_F(CalibrationFile, APathBeyondAsciiWorks) {
    const std::string named = folder.file("Kalibrierung äöü.cal");
    save_calibration_file(named, calibrationOf("SN0001", 1));
    FineCalibration target;
    EXPECT_TRUE(load_calibration_file(named, target));
}

} // namespace
} // namespace qorn::timing
