// A calibration as the operator sees it, on the whole window and the simulated instrument: run, progress,
// stop, result, and what becomes of it.
#include "CalibrationDialog.h"
#include "CalibrationProgressDialog.h"
#include "CalibrationResultDialog.h"
#include "DeviceMenuStage.h"
#include "QtPrinting.h"
#include "WidgetFinder.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QSpinBox>
#include <QTableWidget>

namespace qorn::testing {
namespace {

using gui::CalibrationDialog;
using gui::CalibrationProgressDialog;
using gui::CalibrationResultDialog;

constexpr const char* kEntry = "&Calibrate...";
constexpr const char* kQuietEntries[] = {"&Close device",          "&Calibrate...",
                                         "Clock settings...",      "&Input settings...",
                                         "De&veloper settings...", "&New experiment..."};

struct Effort {
    double seconds;
    double kilohertz;
    int steps;
};
constexpr Effort kQuick{0.1, 200.0, 6};
constexpr Effort kEndless{30.0, 10.0, 96};

void startCalibration(DeviceMenuStage& stage, const Effort& effort = kQuick) {
    auto& dialog = stage.choose<CalibrationDialog>(kEntry);
    DeviceMenuStage::control<QDoubleSpinBox>(dialog, "duration").setValue(effort.seconds);
    DeviceMenuStage::control<QDoubleSpinBox>(dialog, "rate").setValue(effort.kilohertz);
    DeviceMenuStage::control<QSpinBox>(dialog, "steps").setValue(effort.steps);
    DeviceMenuStage::click(dialog, "Start calibration");
}

// Calibrates quickly; the result dialog is shown then.
CalibrationResultDialog& calibrate(DeviceMenuStage& stage) {
    startCalibration(stage);
    EXPECT_TRUE(stage.waitFor<CalibrationResultDialog>());
    return *stage.shown<CalibrationResultDialog>();
}

void setTick(const QWidget& dialog, const char* name, bool on) {
    DeviceMenuStage::control<QCheckBox>(dialog, name).setChecked(on);
}

// The device closes and is opened again.
bool reconnect(DeviceMenuStage& stage) {
    stage.menuAction("&Close device")->trigger();
    return stage.clickConnect() && waitUntil([&] { return !stage.controller().isCalibrating(); });
}

void answerFileDialog(const QString& path) {
    answerNextDialog([path](QWidget& dialog) {
        auto& files = dynamic_cast<QFileDialog&>(dialog);
        EXPECT_EQ(files.windowTitle(), QStringLiteral("Select calibration file"));
        EXPECT_EQ(files.nameFilters(), texts({"Qorn calibration (*.cal)", "All files (*)"}));
        if (path.isEmpty()) {
            files.reject();
        } else {
            files.selectFile(path);
            QMetaObject::invokeMethod(&files, "accept");
        }
    });
}

TEST(WindowCalibration, ARunShowsItsProgressAndThenAllChecks) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    QList<int> percents;
    QString stages;
    QObject::connect(&stage.controller(), &gui::DeviceController::calibrationProgress, &stage.window(),
                     [&](int percent, const QString& text) {
                         const auto* progress = stage.shown<CalibrationProgressDialog>();
                         EXPECT_EQ(progress->value(), percent);
                         EXPECT_EQ(progress->labelText(), text);
                         percents.append(percent);
                         stages += text;
                     });
    startCalibration(stage);
    const auto* progress = stage.shown<CalibrationProgressDialog>();
    EXPECT_EQ(progress->windowTitle(), QStringLiteral("Calibration"));
    EXPECT_EQ(progress->labelText(), QStringLiteral("Starting calibration sweep..."));
    EXPECT_EQ(progress->windowModality(), Qt::WindowModal);
    EXPECT_EQ(stage.message(), QStringLiteral("Calibrating..."));
    EXPECT_EQ(stage.detail(), QStringLiteral("calibrating"));
    for (const char* entry : kQuietEntries) {
        EXPECT_FALSE(stage.isOffered(entry)) << entry;
    }
    EXPECT_TRUE(stage.isOffered("Network relay..."));

    ASSERT_TRUE(stage.waitFor<CalibrationResultDialog>());
    EXPECT_FALSE(stage.isShown<CalibrationProgressDialog>());
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    EXPECT_GE(percents.size(), 18);
    EXPECT_EQ(percents.value(percents.size() - 1), 100);
    for (const char* text :
         {"Calibrating stage 1 of 3...", "Calibrating stage 2 of 3...", "Calibrating stage 3 of 3..."}) {
        EXPECT_TRUE(stages.contains(QString::fromUtf8(text))) << text;
    }
    EXPECT_TRUE(stage.message().startsWith(QStringLiteral("Calibration completed: 12 of 12 checks passed")))
        << stage.message().toStdString();
    EXPECT_EQ(stage.detail(), QStringLiteral("idle"));

    const auto& table =
        DeviceMenuStage::control<QTableWidget>(*stage.shown<CalibrationResultDialog>(), "results");
    for (int row = 0; row < 4; ++row) {
        EXPECT_EQ(table.item(row, 0)->text(), QStringLiteral("IN%1").arg(row + 1));
        EXPECT_GT(table.item(row, 1)->text().toInt(), 3 * 4000);
        for (int column = 2; column < 5; ++column) {
            EXPECT_TRUE(table.item(row, column)->text().endsWith(QStringLiteral(" ps")));
        }
    }
}

TEST(WindowCalibration, AnAppliedOneIsUploadedSavedAndFoundAgainAtTheNextConnect) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
    DeviceMenuStage::click(calibrate(stage), "Apply");
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: uploaded"));
    EXPECT_EQ(stage.flagState("Cal upload"), QStringLiteral("good"));
    EXPECT_EQ(stage.message(), QStringLiteral("Calibration applied."));
    EXPECT_TRUE(QFile::exists(DeviceMenuStage::savedCalibration()));
    for (const char* entry : kQuietEntries) {
        EXPECT_TRUE(stage.isOffered(entry)) << entry;
    }

    ASSERT_TRUE(reconnect(stage));
    EXPECT_TRUE(stage.controller().hasHostCalibration());
    EXPECT_TRUE(stage.waitForFlag("Cal upload: uploaded"));
    EXPECT_EQ(stage.flagState("Cal upload"), QStringLiteral("good"));
    EXPECT_TRUE(stage.boxes().isEmpty());
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    WindowStage::press(tags, "Play");
    EXPECT_TRUE(stage.waitForData(tags));
}

TEST(WindowCalibration, OneThatIsOnlySavedIsNotUploaded) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    CalibrationResultDialog& result = calibrate(stage);
    setTick(result, "applyNow", false);
    DeviceMenuStage::click(result, "Apply");
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: saved"));
    EXPECT_EQ(stage.flagState("Cal upload"), QStringLiteral("active"));
    EXPECT_TRUE(QFile::exists(DeviceMenuStage::savedCalibration()));
}

TEST(WindowCalibration, OneThatIsOnlyAppliedIsNotSaved) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    CalibrationResultDialog& result = calibrate(stage);
    setTick(result, "saveForFuture", false);
    DeviceMenuStage::click(result, "Apply");
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: uploaded"));
    EXPECT_FALSE(QFile::exists(DeviceMenuStage::savedCalibration()));
    ASSERT_TRUE(reconnect(stage));
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
}

TEST(WindowCalibration, OneThatIsCanceledOrHasNoUseIsDiscarded) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    for (const bool cancel : {true, false}) {
        CalibrationResultDialog& result = calibrate(stage);
        setTick(result, "applyNow", cancel);
        setTick(result, "saveForFuture", cancel);
        DeviceMenuStage::click(result, cancel ? "Cancel" : "Apply");
        EXPECT_EQ(stage.message(), QStringLiteral("Calibration discarded."));
        EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
        EXPECT_FALSE(QFile::exists(DeviceMenuStage::savedCalibration()));
        EXPECT_TRUE(stage.isOffered(kEntry));
    }
}

TEST(WindowCalibration, StoppingInMidSweepLeavesDeviceAndWindowUsable) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    bool moved = false;
    QObject::connect(&stage.controller(), &gui::DeviceController::calibrationProgress, &stage.window(),
                     [&](int, const QString&) { moved = true; });
    startCalibration(stage, kEndless);
    ASSERT_TRUE(waitUntil([&] { return moved; }));
    auto* progress = stage.shown<CalibrationProgressDialog>();
    DeviceMenuStage::click(*progress, "Stop");
    EXPECT_TRUE(progress->isVisible()) << "stays until the run has ended";
    EXPECT_TRUE(stage.controller().isCalibrating());
    ASSERT_TRUE(waitUntil([&] { return !stage.controller().isCalibrating(); }));
    EXPECT_FALSE(progress->isVisible());
    EXPECT_EQ(stage.message(), QStringLiteral("Calibration canceled."));
    EXPECT_EQ(stage.detail(), QStringLiteral("idle"));
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_FALSE(stage.isShown<CalibrationResultDialog>());
    for (const char* entry : kQuietEntries) {
        EXPECT_TRUE(stage.isOffered(entry)) << entry;
    }
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(stage.waitForData(stage.tab(0)));
    WindowStage::press(stage.tab(0), "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    calibrate(stage);
    EXPECT_FALSE(stage.isShown<CalibrationProgressDialog>());
}

TEST(WindowCalibration, AWindowThatGoesInMidSweepEndsTheRun) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    startCalibration(stage, kEndless);
    EXPECT_TRUE(stage.controller().isCalibrating());
    stage.destroyWindow();
    EXPECT_TRUE(stage.connectUnit());
}

TEST(WindowCalibration, AFailureIsToldInABox) {
    DeviceMenuStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_start_calibration_stream", "at": 2, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    startCalibration(stage);
    ASSERT_TRUE(stage.waitForBox("Calibration failed"));
    EXPECT_EQ(stage.boxes().constFirst()->icon(), QMessageBox::Warning);
    EXPECT_EQ(stage.takeBox(), stage.message());
    EXPECT_FALSE(stage.isShown<CalibrationProgressDialog>());
    EXPECT_FALSE(stage.isShown<CalibrationResultDialog>());
    EXPECT_TRUE(stage.isOffered(kEntry));
    EXPECT_EQ(stage.detail(), QStringLiteral("idle"));
}

TEST(WindowCalibration, AnUploadThatFailsIsToldAndTheFlagStays) {
    DeviceMenuStage stage(standardScene(R"("faults": {"upload_fails": "flash is write protected"},)"));
    ASSERT_TRUE(stage.connectUnit());
    DeviceMenuStage::click(calibrate(stage), "Apply");
    ASSERT_TRUE(stage.waitForBox("Calibration"));
    const QString told = stage.takeBox();
    EXPECT_TRUE(told.startsWith(QStringLiteral("Could not apply calibration: "))) << told.toStdString();
    EXPECT_TRUE(told.contains(QStringLiteral("flash is write protected"))) << told.toStdString();
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
}

TEST(WindowCalibration, TheSettingsAreKeptForTheSession) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    DeviceMenuStage::click(calibrate(stage), "Cancel");
    EXPECT_EQ(stage.choose<CalibrationDialog>(kEntry).settings(), (gui::CalibrationSettings{0.1, 200.0, 6}));
    stage.destroyWindow();
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_EQ(stage.choose<CalibrationDialog>(kEntry).settings(), gui::CalibrationSettings());
}

TEST(WindowCalibration, ASavedOneIsUploadedOnRequest) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    CalibrationResultDialog& result = calibrate(stage);
    setTick(result, "applyNow", false);
    DeviceMenuStage::click(result, "Apply");
    ASSERT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: saved"));
    auto& dialog = stage.choose<CalibrationDialog>(kEntry);
    EXPECT_EQ(DeviceMenuStage::control<QLineEdit>(dialog, "savedFile").text(),
              DeviceMenuStage::savedCalibration());
    DeviceMenuStage::click(dialog, "Upload saved");
    EXPECT_FALSE(stage.isShown<CalibrationDialog>());
    EXPECT_TRUE(stage.waitForFlag("Cal upload: uploaded"));
    EXPECT_EQ(stage.message(), QStringLiteral("Calibration uploaded to the device."));
    EXPECT_TRUE(stage.isOffered(kEntry));
}

TEST(WindowCalibration, AFileIsChosenAndUploaded) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    DeviceMenuStage::click(calibrate(stage), "Apply");
    const QString copy = stage.folder.filePath(QStringLiteral("copy.cal"));
    ASSERT_TRUE(QFile::copy(DeviceMenuStage::savedCalibration(), copy));
    ASSERT_TRUE(QFile::remove(DeviceMenuStage::savedCalibration()));
    ASSERT_TRUE(reconnect(stage));
    ASSERT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));

    auto& dialog = stage.choose<CalibrationDialog>(kEntry);
    answerFileDialog(QString());
    DeviceMenuStage::click(dialog, "Upload from file...");
    EXPECT_TRUE(dialog.isVisible()) << "no file, no end";
    answerFileDialog(copy);
    DeviceMenuStage::click(dialog, "Upload from file...");
    EXPECT_FALSE(stage.isShown<CalibrationDialog>());
    EXPECT_TRUE(stage.waitForFlag("Cal upload: uploaded"));
}

TEST(WindowCalibration, AFileOfAnotherUnitIsRefused) {
    DeviceMenuStage stage;
    stage.openWindow();
    stage.window().openStartupPort(QStringLiteral("ftdi://SIM00002"));
    ASSERT_TRUE(stage.controller().hasDevice());
    DeviceMenuStage::click(calibrate(stage), "Apply");
    const QString foreign = DeviceMenuStage::savedCalibration("SIM00002");
    ASSERT_TRUE(QFile::exists(foreign));
    stage.menuAction("&Close device")->trigger();
    stage.window().openStartupPort(QStringLiteral("ftdi://SIM00001"));
    ASSERT_TRUE(stage.controller().hasDevice());

    auto& dialog = stage.choose<CalibrationDialog>(kEntry);
    answerFileDialog(foreign);
    DeviceMenuStage::click(dialog, "Upload from file...");
    ASSERT_TRUE(stage.waitForBox("Calibration"));
    EXPECT_TRUE(stage.takeBox().contains(QStringLiteral("SIM00002")));
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
    EXPECT_TRUE(stage.isOffered(kEntry));
}

TEST(WindowCalibration, AFailedUploadAtTheConnectIsToldByTheFlagAlone) {
    DeviceMenuStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_upload_calibration_file", "at": 2, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    DeviceMenuStage::click(calibrate(stage), "Apply");
    ASSERT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: uploaded"));
    ASSERT_TRUE(reconnect(stage));
    ASSERT_TRUE(stage.waitForFlag("Cal upload: required"));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

} // namespace
} // namespace qorn::testing
