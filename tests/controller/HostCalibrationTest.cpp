#include "HostCalibration.h"

#include "CalibrationFiles.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <QDir>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ScopedDriver;
using qorn::testing::TemporaryFolder;
using test::calibrationOf;
using test::tableOf;
using test::writeCalibration;

// The home folder is another one while it lives.
class HomeFolder {
public:
    explicit HomeFolder(const QByteArray& folder) : earlier(qgetenv("HOME")) { qputenv("HOME", folder); }
    ~HomeFolder() { qputenv("HOME", earlier); }
    HomeFolder(const HomeFolder&) = delete;
    HomeFolder& operator=(const HomeFolder&) = delete;

private:
    QByteArray earlier;
};

class HostCalibrationTest : public ::testing::Test {
protected:
    QString file(const char* name) const { return QString::fromStdString(folder.file(name)); }
    bool load(const char* name, const char* serial, QString* error = nullptr) {
        return calibration.loadCalibrationFileFromPath(file(name), QString::fromUtf8(serial), error);
    }
    void expectLines(const std::vector<int>& lines) const {
        const auto current = calibration.currentCalibration(QStringLiteral("SN0001"));
        ASSERT_EQ(current.tdls.size(), lines.size());
        for (std::size_t index = 0; index < lines.size(); ++index) {
            EXPECT_EQ(current.tdls[index].tdl_index, lines[index]);
            EXPECT_EQ(current.tdls[index].luts[3], tableOf(lines[index], 3));
        }
    }

    TemporaryFolder folder;
    HostCalibration calibration;
};

TEST_F(HostCalibrationTest, BeginsEmpty) {
    EXPECT_TRUE(calibration.isEmpty());
    EXPECT_EQ(calibration.pickHostLut(0, 0), nullptr);
    EXPECT_TRUE(calibration.currentCalibration(QStringLiteral("SN0001")).tdls.empty());
}

TEST_F(HostCalibrationTest, TakesAFileWhole) {
    writeCalibration(folder.file("a.cal"), calibrationOf("SN0001", {0, 2}));
    QString error;
    ASSERT_TRUE(load("a.cal", "SN0001", &error)) << error.toStdString();
    EXPECT_FALSE(calibration.isEmpty());
    expectLines({0, 2});
    const auto current = calibration.currentCalibration(QStringLiteral("SN0001"));
    EXPECT_EQ(current.serial, "SN0001");
    EXPECT_EQ(current.tdl_offset_ps, calibrationOf("", {}).tdl_offset_ps);
}

TEST_F(HostCalibrationTest, BlanksAroundThePathDoNotCount) {
    writeCalibration(folder.file("a.cal"), calibrationOf("SN0001", {0}));
    EXPECT_TRUE(calibration.loadCalibrationFileFromPath(QStringLiteral("  %1 ").arg(file("a.cal")),
                                                        QStringLiteral("SN0001"), nullptr));
}

TEST_F(HostCalibrationTest, ABlankPathIsRefused) {
    for (const char* blank : {"", "   "}) {
        QString error;
        EXPECT_FALSE(calibration.loadCalibrationFileFromPath(QString::fromLatin1(blank), {}, &error));
        EXPECT_EQ(error, QStringLiteral("No calibration file path was provided"));
        EXPECT_FALSE(calibration.loadCalibrationFileFromPath(QString::fromLatin1(blank), {}, nullptr));
    }
}

TEST_F(HostCalibrationTest, AFileThatDoesNotLoadIsNamed) {
    qorn::testing::writeBytes(folder.path() / "broken.cal", qorn::testing::bytesFromHex("58 43 41 4C 01"));
    for (const char* name : {"missing.cal", "broken.cal"}) {
        QString error;
        EXPECT_FALSE(load(name, "SN0001", &error));
        EXPECT_EQ(error, QStringLiteral("Could not open calibration file:\n%1").arg(file(name)));
    }
}

TEST_F(HostCalibrationTest, AFileOfAnotherDeviceIsRefusedAndOneWithoutSerialIsNot) {
    struct Row {
        const char* ofFile;
        const char* ofDevice;
        bool taken;
    };
    for (const Row& row :
         {Row{"SN0002", "SN0001", false}, Row{"SN0001", "SN0001", true}, Row{"", "SN0001", true},
          Row{"SN0002", "", true}, Row{"", "", true}, Row{"sn0001", "SN0001", false}}) {
        writeCalibration(folder.file("a.cal"), calibrationOf(row.ofFile, {1}));
        calibration = HostCalibration();
        QString error;
        EXPECT_EQ(load("a.cal", row.ofDevice, &error), row.taken);
        EXPECT_EQ(calibration.isEmpty(), !row.taken);
        if (!row.taken) {
            EXPECT_EQ(error.toStdString(), std::string("Calibration file serial ") + row.ofFile +
                                               " does not match the open device serial " + row.ofDevice +
                                               ".");
        }
    }
}

TEST_F(HostCalibrationTest, ARefusedFileLeavesTheEarlierCalibration) {
    writeCalibration(folder.file("good.cal"), calibrationOf("SN0001", {0, 1}));
    writeCalibration(folder.file("foreign.cal"), calibrationOf("SN0002", {2}));
    ASSERT_TRUE(load("good.cal", "SN0001"));
    EXPECT_FALSE(load("foreign.cal", "SN0001"));
    EXPECT_FALSE(load("missing.cal", "SN0001"));
    expectLines({0, 1});
}

TEST_F(HostCalibrationTest, ALaterFileReplacesAll) {
    writeCalibration(folder.file("a.cal"), calibrationOf("SN0001", {0, 1}));
    writeCalibration(folder.file("b.cal"), calibrationOf("SN0001", {2}));
    ASSERT_TRUE(load("a.cal", "SN0001"));
    ASSERT_TRUE(load("b.cal", "SN0001"));
    expectLines({2});
}

TEST_F(HostCalibrationTest, PicksTheTableOfTheLineElseOfTheLowest) {
    struct Row {
        std::vector<int> lines;
        int selected;
        int picked;
    };
    for (const Row& row : {Row{{0, 1, 2}, 1, 1}, Row{{0, 1, 2}, 0, 0}, Row{{2, 1}, 0, 1}, Row{{2, 1}, 2, 2},
                           Row{{2}, 1, 2}, Row{{1, 2}, 7, 1}, Row{{2, 0}, -1, 0}}) {
        writeCalibration(folder.file("a.cal"), calibrationOf("", row.lines));
        ASSERT_TRUE(load("a.cal", ""));
        for (int input = 0; input < 4; ++input) {
            const timing::FineLut* table = calibration.pickHostLut(input, row.selected);
            ASSERT_NE(table, nullptr);
            EXPECT_EQ(*table, tableOf(row.picked, input));
        }
    }
}

TEST_F(HostCalibrationTest, SavingNeedsASerialAndAResult) {
    QString error;
    EXPECT_FALSE(calibration.saveCalibrationFile(QString(), &error));
    EXPECT_EQ(error, QStringLiteral("No device serial; cannot name the calibration file"));
    EXPECT_FALSE(calibration.saveCalibrationFile(QStringLiteral("SN0001"), &error));
    EXPECT_EQ(error, QStringLiteral("No calibration result to save"));
    EXPECT_FALSE(calibration.saveCalibrationFile(QStringLiteral("SN0001"), nullptr));
}

TEST_F(HostCalibrationTest, SavesIntoTheUsersFolderUnderASafeName) {
    const HomeFolder home(QByteArray::fromStdString(folder.path().string()));
    writeCalibration(folder.file("a.cal"), calibrationOf("", {0, 2}));
    ASSERT_TRUE(load("a.cal", ""));
    struct Row {
        const char* serial;
        const char* name;
    };
    for (const Row& row : {Row{"SN0001", "qorn_cal_SN0001.cal"}, Row{"A/B", "qorn_cal_A_B.cal"},
                           Row{"a-b.c d", "qorn_cal_a-b_c_d.cal"}, Row{"../x", "qorn_cal____x.cal"}}) {
        QString error;
        ASSERT_TRUE(calibration.saveCalibrationFile(QString::fromUtf8(row.serial), &error))
            << error.toStdString();
        const std::string path = folder.file(std::string(".qorn.timing/calibrations/") + row.name);
        timing::FineCalibration saved;
        ASSERT_TRUE(timing::load_calibration_file(path, saved)) << path;
        EXPECT_EQ(saved.serial, row.serial);
        ASSERT_EQ(saved.tdls.size(), 2U);
        EXPECT_EQ(saved.tdls[1].luts[2], tableOf(2, 2));
        EXPECT_EQ(saved.tdl_offset_ps, calibrationOf("", {}).tdl_offset_ps);
    }
}

TEST_F(HostCalibrationTest, WithoutAHomeTheCurrentFolderTakesItsPlace) {
    const HomeFolder home("");
    const qorn::testing::CurrentFolder current(folder.path());
    writeCalibration(folder.file("a.cal"), calibrationOf("", {0}));
    ASSERT_TRUE(load("a.cal", ""));
    ASSERT_TRUE(calibration.saveCalibrationFile(QStringLiteral("SN0001"), nullptr));
    EXPECT_TRUE(std::filesystem::exists(folder.path() / ".qorn.timing/calibrations/qorn_cal_SN0001.cal"));
}

TEST_F(HostCalibrationTest, AFolderThatCannotBeWrittenIsToldWithTheWritersText) {
    qorn::testing::writeBytes(folder.path() / "file", {});
    const HomeFolder home(QByteArray::fromStdString(folder.file("file")));
    writeCalibration(folder.file("a.cal"), calibrationOf("", {0}));
    ASSERT_TRUE(load("a.cal", ""));
    QString error;
    EXPECT_FALSE(calibration.saveCalibrationFile(QStringLiteral("SN0001"), &error));
    EXPECT_EQ(error.toStdString(), "save_calibration_file: cannot open " +
                                       folder.file("file/.qorn.timing/calibrations/qorn_cal_SN0001.cal"));
}

TEST(CalibrationPath, IsTheDriversForTheSerial) {
    ScopedDriver driver;
    driver->change([](auto& script) { script.calibrationPath = "/data/Gerät.cal"; });
    EXPECT_EQ(calibrationFilePathFor(QStringLiteral("SN0001")), QStringLiteral("/data/Gerät.cal"));
    EXPECT_EQ(driver->calls(), std::vector<std::string>{"tt_get_calibration_path(SN0001,1024)"});
}

TEST(CalibrationPath, WithoutSerialOrAnswerThereIsNone) {
    ScopedDriver driver;
    driver->change([](auto& script) { script.calibrationPath = "/data/a.cal"; });
    EXPECT_EQ(calibrationFilePathFor(QString()), QString());
    EXPECT_EQ(driver->count("tt_get_calibration_path"), 0);
    driver->fail("tt_get_calibration_path", -2);
    EXPECT_EQ(calibrationFilePathFor(QStringLiteral("SN0001")), QString());
}

} // namespace
} // namespace qorn::timetagger::gui
