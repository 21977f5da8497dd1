// Calibration files: what the simulated instrument takes, and what it gains.
#include "CalibrationFile.h"
#include "DelayLines.h"
#include "DeviceError.h"
#include "Instrument.h"
#include "SceneRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace qorn::simulator::test {

namespace {

// A calibration file, piece by piece.
struct FileText {
    std::string bytes;

    template <typename Value>
    FileText& number(Value value) {
        for (std::size_t i = 0; i < sizeof value; ++i) {
            bytes.push_back(static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFF));
        }
        return *this;
    }
    FileText& text(const std::string& more) {
        bytes += more;
        return *this;
    }
};

std::string shortFile(std::uint32_t entries = 200, std::int64_t top = 3332, std::uint8_t line = 0,
                      std::uint32_t offset = 5) {
    FileText file;
    file.text("XCAL").number(std::uint32_t{1}).number(std::uint32_t{8}).text("SIM00001");
    file.number(std::uint32_t{1}).number(line);
    for (int input = 0; input < 4; ++input) {
        file.number(entries);
        for (std::uint32_t i = 0; i < entries; ++i) {
            file.number(i + 1 == entries ? top : std::int64_t{i});
        }
    }
    for (int i = 0; i < 20; ++i) {
        file.number(offset);
    }
    return file.bytes;
}

std::string refusalOf(const std::string& content) {
    const TestFolder folder;
    const auto path = folder.path("a.cal");
    writeFile(path, content);
    try {
        const CalibrationTables tables = readCalibrationFile(path);
        EXPECT_EQ(tables.serial, "SIM00001");
        EXPECT_EQ(tables.lines.size(), 1u);
    } catch (const CalibrationFileError& error) {
        return error.what();
    }
    return "none";
}

TEST(CalibrationFile, IsCheckedToItsLastByte) {
    const std::string good = shortFile();
    EXPECT_EQ(refusalOf(good), "none");
    for (const std::size_t cut : {0u, 3u, 7u, 10u, 15u, 19u, 21u, 25u, 2000u}) {
        EXPECT_NE(refusalOf(good.substr(0, cut)).find("ends inside"), std::string::npos) << cut;
    }
    EXPECT_NE(refusalOf(good.substr(0, good.size() - 1)).find("ends inside its offsets"), std::string::npos);
    EXPECT_NE(refusalOf("XCAM" + good.substr(4)).find("XCAL"), std::string::npos);
    EXPECT_NE(refusalOf(FileText{}.text("XCAL").number(2u).text(good.substr(8)).bytes).find("version 2"),
              std::string::npos);
    EXPECT_NE(refusalOf(shortFile(9000)).find("9000 entries"), std::string::npos);
    EXPECT_NE(refusalOf(shortFile(200, 3333)).find("3333 ps"), std::string::npos);
    EXPECT_NE(refusalOf(shortFile(200, 3)).find("falls"), std::string::npos);
    EXPECT_NE(refusalOf(shortFile(200, -1)).find("-1 ps"), std::string::npos);
    EXPECT_NE(refusalOf(shortFile(200, 3332, 5)).find("delay line 5"), std::string::npos);
    EXPECT_NE(refusalOf(shortFile(200, 3332, 0, 3333)).find("offset"), std::string::npos);
    const FileText noLines = FileText{}.text("XCAL").number(1u).number(0u).number(0u);
    EXPECT_NE(refusalOf(noLines.bytes).find("0 delay lines"), std::string::npos);
    EXPECT_THROW(readCalibrationFile("/nowhere/a.cal"), CalibrationFileError);
}

TEST(DelayLines, TapsLieBesideEachOtherAndFillATick) {
    const DelayLines lines("SIM00001");
    for (int input = 0; input < kInputs; ++input) {
        for (int line = 0; line < kDelayLines; ++line) {
            std::int64_t phase = 0;
            const std::vector<std::int64_t> widths = lines.tapWidthsPs(input, line);
            for (std::size_t tap = 0; tap < widths.size(); ++tap) {
                for (const std::int64_t end = phase + widths[tap]; phase < end; ++phase) {
                    ASSERT_EQ(lines.fineCode(input, line, phase), tap)
                        << input << ' ' << line << ' ' << phase;
                }
            }
            EXPECT_EQ(phase, kTickPs);
            EXPECT_GT(*std::max_element(widths.begin(), widths.end()), 30) << "taps differ in width";
        }
    }
}

// A table as a calibration finds it: each code in the middle of the phases that give it.
std::vector<std::int64_t> trueTable(const DelayLines& lines, int input, int line) {
    std::vector<std::int64_t> table(kFineCodes, kTickPs - 1);
    const std::vector<std::int64_t> widths = lines.tapWidthsPs(input, line);
    std::int64_t begin = 0;
    for (std::size_t code = 0; code < widths.size(); ++code) {
        table[code] = begin + std::max<std::int64_t>(widths[code] - 1, 0) / 2;
        begin += widths[code];
    }
    return table;
}

std::string trueFile(const std::string& serial) {
    const DelayLines lines("SIM00001");
    FileText file;
    file.text("XCAL").number(1u).number(static_cast<std::uint32_t>(serial.size())).text(serial);
    file.number(static_cast<std::uint32_t>(kDelayLines));
    for (int line = 0; line < kDelayLines; ++line) {
        file.number(static_cast<std::uint8_t>(line));
        for (int input = 0; input < kInputs; ++input) {
            file.number(static_cast<std::uint32_t>(kFineCodes));
            for (const std::int64_t entry : trueTable(lines, input, line)) {
                file.number(entry);
            }
        }
    }
    for (int i = 0; i < 20; ++i) {
        file.number(0u);
    }
    return file.bytes;
}

// The spread of the times of a clock without jitter, which is the instrument's own.
double spreadPs(Instrument& instrument, const std::filesystem::path& truth) {
    constexpr double kPeriodPs = 10007017;
    readAll(instrument, {.format = StreamFormat::Raw64});
    const std::vector<Tag> tags = readTruth(truth);
    double sum = 0;
    double squares = 0;
    for (const Tag& tag : tags) {
        const double phase = std::remainder(static_cast<double>(tag.timePs) - kPeriodPs / 2, kPeriodPs);
        sum += phase;
        squares += phase * phase;
    }
    const auto n = static_cast<double>(tags.size());
    EXPECT_GT(n, 10000);
    return std::sqrt(squares / n - sum / n * (sum / n));
}

TEST(CalibrationUpload, MakesTheTimesOfAUnitBetter) {
    const TestFolder folder;
    const auto truth = folder.path("truth.bin");
    const Scene scene = unpacedScene(R"({"kind": "periodic", "input": 2, "frequency_hz": 99929.879205,
                                         "phase_ps": 5000000})",
                                     0.2, R"("tdl_jitter_ps": 0, "truth_file": ")" + truth.string() + "\"");
    Instrument instrument(scene.units.front(), scene);
    const std::array<std::uint8_t, 4> allLines{7, 7, 7, 7};
    instrument.setTdlMasks(allLines);
    const double before = spreadPs(instrument, truth);
    writeFile(folder.path("own.cal"), trueFile("SIM00001"));
    instrument.uploadCalibration(folder.path("own.cal"));
    const double onFirstLine = spreadPs(instrument, truth);
    instrument.setTdlMasks(allLines);
    const double after = spreadPs(instrument, truth);
    EXPECT_GT(before, 10);
    EXPECT_LT(after, 5);
    EXPECT_GT(onFirstLine, after) << "an upload leaves each input on its first delay line";
}

TEST(CalibrationUpload, TakesNoFileOfAnotherUnitAndNoneDuringAMeasurement) {
    const TestFolder folder;
    const Scene scene = unpacedScene("", 1);
    Instrument instrument(scene.units.front(), scene);
    const auto path = folder.path("a.cal");
    writeFile(path, trueFile("SIM00002"));
    EXPECT_EQ(refusedWith([&] { instrument.uploadCalibration(path); }), TT_REJECTED);
    writeFile(path, trueFile(""));
    EXPECT_EQ(refusedWith([&] { instrument.uploadCalibration(path); }), TT_OK);
    instrument.startStream(true, 0);
    EXPECT_EQ(refusedWith([&] { instrument.uploadCalibration(path); }), TT_REJECTED);
    EXPECT_EQ(refusedWith([&] { instrument.uploadCalibration(folder.path("none.cal")); }), TT_FILE_ERROR);
}

} // namespace

} // namespace qorn::simulator::test
