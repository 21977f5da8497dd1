// Taking, applying and uploading calibration files through a controller.
#include "ControllerTest.h"

#include "CalibrationFiles.h"

#include <QDir>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using test::calibrationOf;
using test::Texts;
using test::writeCalibration;

class CalibrationControl : public test::ControllerTest {
protected:
    QString writeFile(const char* name, const timing::FineCalibration& calibration) {
        return QString::fromStdString(writeCalibration(folder.file(name), calibration));
    }
    void openWithCalibration() {
        openDevice();
        ASSERT_TRUE(controller->loadCalibrationFileFromPath(
            writeFile("a.cal", calibrationOf("SN0001", {0, 1})), nullptr));
    }
    static QString temporaryUpload(const char* serial) {
        return QDir::temp().filePath(QStringLiteral("qorn_cal_upload_%1.cal").arg(QLatin1String(serial)));
    }
};

TEST_F(CalibrationControl, ThePathIsTheDriversForTheOpenDevice) {
    driver->change([](auto& script) { script.calibrationPath = "/data/SN0001.cal"; });
    EXPECT_EQ(controller->calibrationFilePath(), QString()); // nothing open
    EXPECT_EQ(driver->count("tt_get_calibration_path"), 0);
    openDevice();
    EXPECT_EQ(controller->calibrationFilePath(), QStringLiteral("/data/SN0001.cal"));
}

TEST_F(CalibrationControl, AFileOfTheDeviceOrOfNoneIsTaken) {
    openDevice();
    QString error;
    EXPECT_TRUE(
        controller->loadCalibrationFileFromPath(writeFile("a.cal", calibrationOf("SN0001", {0})), &error));
    EXPECT_TRUE(controller->loadCalibrationFileFromPath(writeFile("b.cal", calibrationOf("", {1})), &error));
    EXPECT_FALSE(
        controller->loadCalibrationFileFromPath(writeFile("c.cal", calibrationOf("SN0002", {0})), &error));
    EXPECT_EQ(error,
              QStringLiteral("Calibration file serial SN0002 does not match the open device serial SN0001."));
    EXPECT_FALSE(controller->loadCalibrationFileFromPath(QStringLiteral(" "), &error));
    EXPECT_EQ(error, QStringLiteral("No calibration file path was provided"));
    const QString missing = QString::fromStdString(folder.file("missing.cal"));
    EXPECT_FALSE(controller->loadCalibrationFileFromPath(missing, &error));
    EXPECT_EQ(error, QStringLiteral("Could not open calibration file:\n%1").arg(missing));
}

TEST_F(CalibrationControl, ApplyingNeedsADeviceAndAResult) {
    QString report;
    EXPECT_FALSE(controller->applyCalibration(false, false, &report));
    EXPECT_EQ(report, QStringLiteral("Device is not open"));
    EXPECT_FALSE(controller->applyCalibration(true, true));
    openDevice();
    for (const bool upload : {false, true}) {
        EXPECT_FALSE(controller->applyCalibration(upload, false, &report));
        EXPECT_EQ(report, QStringLiteral("No calibration result to apply"));
    }
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(CalibrationControl, ApplyingOnTheHostSendsNothing) {
    openWithCalibration();
    driver->clearLog();
    QString report;
    EXPECT_TRUE(controller->applyCalibration(false, false, &report));
    EXPECT_EQ(report, QStringLiteral("Calibration saved for a future session."));
    EXPECT_TRUE(driver->calls().empty());
    EXPECT_TRUE(controller->applyCalibration(false, false));
    EXPECT_TRUE(signalled->texts().empty());
}

TEST_F(CalibrationControl, AResultOnTheHostAloneIsRememberedUntilTheDeviceCloses) {
    openWithCalibration();
    EXPECT_FALSE(controller->isCalibrationHostOnly());
    EXPECT_TRUE(controller->applyCalibration(true, false));
    EXPECT_FALSE(controller->isCalibrationHostOnly());
    EXPECT_TRUE(controller->applyCalibration(false, false));
    EXPECT_TRUE(controller->isCalibrationHostOnly());
    controller->close();
    EXPECT_FALSE(controller->isCalibrationHostOnly());
}

TEST_F(CalibrationControl, ApplyingAndStoringWritesTheUsersFile) {
    openWithCalibration();
    QString report;
    EXPECT_TRUE(controller->applyCalibration(false, true, &report));
    timing::FineCalibration saved;
    const QString path = QDir::homePath() + QStringLiteral("/.qorn.timing/calibrations/qorn_cal_SN0001.cal");
    ASSERT_TRUE(timing::load_calibration_file(path.toStdString(), saved)) << path.toStdString();
    EXPECT_EQ(saved.serial, "SN0001");
    ASSERT_EQ(saved.tdls.size(), 2U);
    EXPECT_EQ(saved.tdls[1].luts[3], test::tableOf(1, 3));
    QFile::remove(path);
}

TEST_F(CalibrationControl, ApplyingWithUploadSendsATemporaryFileAndRemovesIt) {
    openWithCalibration();
    driver->clearLog();
    bool found = false;
    driver->onCall("tt_upload_calibration_file", [&](int) {
        timing::FineCalibration sent;
        found = timing::load_calibration_file(temporaryUpload("SN0001").toStdString(), sent) &&
                sent.serial == "SN0001" && sent.tdls.size() == 2;
    });
    QString report;
    EXPECT_TRUE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(report, QStringLiteral("Calibration applied to all inputs."));
    EXPECT_TRUE(found);
    EXPECT_EQ(driver->calls(),
              (Texts{"tt_upload_calibration_file(" + temporaryUpload("SN0001").toStdString() + ")",
                     "tt_set_tdl_active_masks(7,7,7,7)"}));
    EXPECT_EQ(signalled->texts(), (Texts{"calibrationUploadProgress(0)", "calibrationUploadProgress(100)"}));
    EXPECT_FALSE(QFile::exists(temporaryUpload("SN0001")));
}

TEST_F(CalibrationControl, AFailedUploadIsToldWithItsText) {
    openWithCalibration();
    driver->fail("tt_upload_calibration_file", -7, "bad checksum", 1);
    driver->fail("tt_upload_calibration_file", -7, "", 2);
    QString report;
    EXPECT_FALSE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(report, QStringLiteral("rejected: bad checksum"));
    EXPECT_EQ(signalled->textsOf("calibrationUploadProgress"), Texts{"calibrationUploadProgress(0)"});
    EXPECT_FALSE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(report, QStringLiteral("rejected"));
    EXPECT_FALSE(QFile::exists(temporaryUpload("SN0001")));
}

TEST_F(CalibrationControl, FailedMasksAfterAnUploadAreAFailure) {
    openWithCalibration();
    driver->fail("tt_set_tdl_active_masks", -1, "bus");
    QString report;
    EXPECT_FALSE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(report, QStringLiteral("set_tdl_active_masks: general failure (bus)"));
    EXPECT_FALSE(QFile::exists(temporaryUpload("SN0001")));
}

// The driver may name the saved file in another way, another file, or none.
TEST_F(CalibrationControl, UploadingAndStoringSendsTheFileJustWritten) {
    openWithCalibration();
    const QString folderOfAll = QDir::homePath() + QStringLiteral("/.qorn.timing/calibrations/");
    const std::string stored = (folderOfAll + QStringLiteral("qorn_cal_SN0001.cal")).toStdString();
    const std::string alias =
        (folderOfAll + QStringLiteral("../calibrations/qorn_cal_SN0001.cal")).toStdString();
    const std::pair<std::string, std::string> rows[] = {
        {stored, stored}, {alias, alias}, {folder.file("named.cal"), stored}, {std::string(), stored}};
    for (const auto& [named, sent] : rows) {
        driver->change([&](auto& script) { script.calibrationPath = named; });
        driver->clearLog();
        QString report;
        EXPECT_TRUE(controller->applyCalibration(true, true, &report)) << named;
        EXPECT_EQ(report, QStringLiteral("Calibration applied to all inputs."));
        EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
                  Texts{"tt_upload_calibration_file(" + sent + ")"});
        EXPECT_TRUE(QFile::remove(QString::fromStdString(stored)));
        EXPECT_FALSE(QFile::exists(temporaryUpload("SN0001")));
    }
}

TEST_F(CalibrationControl, ASerialWithASlashStaysInTheTemporaryFolder) {
    driver->change(
        [](auto& script) { script.identity = qorn::testing::makeIdentity("Q", "T", "../SN 1", "odd"); });
    openDevice();
    ASSERT_TRUE(controller->loadCalibrationFileFromPath(writeFile("a.cal", calibrationOf("", {0})), nullptr));
    EXPECT_TRUE(controller->applyCalibration(true, false));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(" + temporaryUpload("___SN_1").toStdString() + ")"});
    EXPECT_FALSE(QFile::exists(temporaryUpload("___SN_1")));
}

TEST_F(CalibrationControl, UploadingAndStoringWithoutASerialFailsWithTheSavingsText) {
    driver->change(
        [](auto& script) { script.identity = qorn::testing::makeIdentity("Q", "T", "", "no serial"); });
    openDevice();
    ASSERT_TRUE(controller->loadCalibrationFileFromPath(writeFile("a.cal", calibrationOf("", {0})), nullptr));
    QString report;
    EXPECT_FALSE(controller->applyCalibration(true, true, &report));
    EXPECT_EQ(report, QStringLiteral("No device serial; cannot name the calibration file"));
    EXPECT_EQ(driver->count("tt_upload_calibration_file"), 0);
    // Uploading alone takes another name for the temporary file.
    EXPECT_TRUE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(" + temporaryUpload("device").toStdString() + ")"});
    EXPECT_FALSE(QFile::exists(temporaryUpload("device")));
}

TEST_F(CalibrationControl, AnUploadRunsOnAPoolThread) {
    openDevice();
    ASSERT_TRUE(controller->setTdlMasks({1, 2, 3, 4}, nullptr));
    driver->clearLog();
    signalled->onSignal = [&](const std::string& name) {
        if (name == "calibrationUploadFinished") {
            EXPECT_FALSE(controller->isCalibrating());
        }
    };
    driver->hold("tt_upload_calibration_file");
    controller->uploadCalibrationFile(QStringLiteral("/data/Gerät.cal"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"calibrationUploadStarted(/data/Gerät.cal)", "calibrationUploadProgress(0)"}));
    EXPECT_TRUE(controller->isCalibrating());
    driver->release("tt_upload_calibration_file");
    ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished"));
    EXPECT_EQ(signalled->texts().back(), "calibrationUploadFinished(1, Calibration uploaded to the device.)");
    EXPECT_EQ(driver->calls(),
              (Texts{"tt_upload_calibration_file(/data/Gerät.cal)", "tt_set_tdl_active_masks(1,2,3,4)"}));
    for (const auto& call : driver->log()) {
        EXPECT_NE(call.thread, std::this_thread::get_id()) << call.text();
    }
    test::runFor(std::chrono::milliseconds(20));
    EXPECT_EQ(driver->count("tt_set_reference_clock"), 0); // that step belongs to the opening
}

TEST_F(CalibrationControl, TheSavedCalibrationIsUploadedFromTheDriversPath) {
    openDevice();
    driver->change([](auto& script) { script.calibrationPath = "/data/saved.cal"; });
    controller->uploadSavedCalibration();
    ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished"));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(/data/saved.cal)"});
}

TEST_F(CalibrationControl, FailuresOfAnUploadAreTold) {
    openDevice();
    driver->fail("tt_upload_calibration_file", -2, "no such file", 1);
    controller->uploadCalibrationFile(QStringLiteral("/data/a.cal"));
    ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished"));
    EXPECT_EQ(signalled->texts().back(), "calibrationUploadFinished(0, file failure: no such file)");
    EXPECT_EQ(driver->count("tt_set_tdl_active_masks"), 0);
    signalled->clear();
    driver->fail("tt_set_tdl_active_masks", -1, "bus");
    controller->uploadCalibrationFile(QStringLiteral("/data/a.cal"));
    ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished"));
    EXPECT_EQ(signalled->texts().back(),
              "calibrationUploadFinished(0, set_tdl_active_masks: general failure (bus))");
    EXPECT_FALSE(controller->isCalibrating());
}

TEST_F(CalibrationControl, AnUploadNeedsAnIdleDevice) {
    const std::string busy = "calibrationUploadFinished(0, Stop the current capture or calibration before "
                             "uploading calibration data)";
    controller->uploadCalibrationFile(QStringLiteral("/data/a.cal"));
    EXPECT_EQ(signalled->texts(), Texts{"calibrationUploadFinished(0, Device is not open)"});
    openDevice();
    beginCounting();
    signalled->clear();
    controller->uploadCalibrationFile(QStringLiteral("/data/a.cal"));
    EXPECT_EQ(signalled->texts(), Texts{busy});
    EXPECT_FALSE(controller->isCalibrating());
    endCounting();
    beginUpload();
    signalled->clear();
    controller->uploadSavedCalibration();
    EXPECT_EQ(signalled->texts(), Texts{busy});
    EXPECT_TRUE(controller->isCalibrating());
    endUpload();
}

// The device belongs to the running task, also against an upload that would block.
TEST_F(CalibrationControl, ApplyingWithUploadDuringATaskDoesNotReachTheDevice) {
    openWithCalibration();
    beginCounting();
    driver->clearLog();
    QString report;
    EXPECT_FALSE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(report,
              QStringLiteral("Stop the current capture or calibration before uploading calibration data"));
    EXPECT_TRUE(
        controller->applyCalibration(false, false, &report)); // the host alone is no matter of the device
    EXPECT_EQ(driver->count("tt_upload_calibration_file"), 0);
    endCounting();
    beginUpload();
    EXPECT_FALSE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(driver->count("tt_upload_calibration_file"), 1);
    endUpload();
    EXPECT_EQ(driver->breaches(), Texts{});
}

} // namespace
} // namespace qorn::timetagger::gui
