// A calibration from the operator's side: chosen, followed, stopped, judged and put in force.
#include "CalibrationWorkflow.h"
#include "CalibrationPort.h"
#include "CalibrationProgressDialog.h"
#include "DialogStage.h"
#include "Environment.h"
#include "OperatedWindow.h"
#include "QtPrinting.h"
#include "StreamBuilder.h"
#include "TemporaryFolder.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableWidget>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::Bytes;
using qorn::testing::click;
using qorn::testing::control;
using qorn::testing::Environment;
using qorn::testing::text;
using qorn::testing::texts;
using Texts = std::vector<std::string>;

class CalibrationByOperator : public ::testing::Test {
protected:
    void SetUp() override {
        stage.openDevice();
        driver->onCall("tt_start_calibration_stream", [this](int) { // codes 0 and 1 on each input
            Bytes bytes;
            for (int i = 0; i < 8000; ++i) {
                qorn::testing::appendRaw64(
                    bytes, qorn::testing::raw64CoarseFine(i % 4, static_cast<std::uint64_t>(i),
                                                          static_cast<std::uint64_t>(i / 4 % 2)));
            }
            driver->feed(bytes);
        });
    }
    void TearDown() override { QFile::remove(savedPath()); }

    static QString savedPath() {
        return QDir::homePath() + QStringLiteral("/.qorn.timing/calibrations/qorn_cal_SN0001.cal");
    }
    void useOneLine() {
        ASSERT_TRUE(stage.controller().setTdlMasks({1, 1, 1, 1}, nullptr));
        driver->clearLog();
    }
    // Chooses a calibration of 50 samples in so many steps, and answers what comes after it.
    void startBy(int steps) {
        stage.answer("Calibration", [steps](QDialog& dialog) {
            control<QDoubleSpinBox>(dialog, "duration").setValue(0.05);
            control<QDoubleSpinBox>(dialog, "rate").setValue(1.0);
            control<QSpinBox>(dialog, "steps").setValue(steps);
            click(dialog, "Start calibration");
        });
    }
    void judge(bool apply, bool save, const char* button = "Apply") {
        stage.answer("Calibration result", [=](QDialog& dialog) {
            control<QCheckBox>(dialog, "applyNow").setChecked(apply);
            control<QCheckBox>(dialog, "saveForFuture").setChecked(save);
            click(dialog, button);
        });
    }
    CalibrationProgressDialog* progress() {
        for (QWidget* widget : QApplication::allWidgets()) {
            if (auto* dialog = qobject_cast<CalibrationProgressDialog*>(widget)) {
                return dialog;
            }
        }
        return nullptr;
    }
    bool waitUntilIdle() {
        return qorn::testing::waitUntil([this] { return !stage.controller().isCalibrating(); });
    }

    Environment fpga{"QORN_CAL_FPGA_SWEEP"};
    Environment host{"QORN_CAL_HOST_SWEEP"};
    qorn::testing::OperatedWindow stage;
    qorn::testing::ScopedDriver& driver = stage.driver;
};

const char* const kCalibrate = "&Calibrate...";

// --- what to do --------------------------------------------------------------------------------------------

TEST_F(CalibrationByOperator, ShowsTheSavedFileAndTheDefaults) {
    driver->change([](auto& script) { script.calibrationPath = "/data/saved.cal"; });
    stage.answer("Calibration", [](QDialog& dialog) {
        EXPECT_TRUE(dialog.isModal());
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "duration").value(), 0.1);
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "rate").value(), 100.0);
        EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 72);
        const QWidget& file = control<QWidget>(dialog, "savedFile");
        const auto* label = qobject_cast<const QLabel*>(&file);
        EXPECT_EQ(label != nullptr ? label->text() : file.property("text").toString(),
                  text("/data/saved.cal"));
        click(dialog, "Close");
    });
    stage.use(kCalibrate);
    EXPECT_FALSE(stage.controller().isCalibrating());
    EXPECT_EQ(driver->count("tt_set_calibration_freq"), 0);
}

// An instrument that is not there, and must not be asked for anything.
class NoInstrument : public CalibrationPort {
public:
    bool hasDevice() const override { return false; }
    QString calibrationFilePath() const override { return {}; }
    void uploadSavedCalibration() override { ++uses; }
    void uploadCalibrationFile(const QString&) override { ++uses; }
    void runCalibration(unsigned long, unsigned long, double) override { ++uses; }
    void cancelCalibration() override { ++uses; }
    QList<UiCalChannelStat> calibrationStats() const override { return {}; }
    bool applyCalibration(bool, bool, QString*) override { return ++uses == 0; }
    void refreshClockStatus() override { ++uses; }

    int uses = 0;
};

TEST(CalibrationWorkflow, AsksNothingWithoutADevice) {
    NoInstrument instrument;
    QWidget window;
    window.show();
    CalibrationWorkflow workflow(instrument, window);
    workflow.onCalibrate();
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_TRUE(window.findChildren<QDialog*>().isEmpty());
    EXPECT_EQ(instrument.uses, 0);
}

TEST_F(CalibrationByOperator, StartsWithTheNumbersOfTheDialog) {
    useOneLine();
    startBy(1);
    judge(false, false);
    stage.use(kCalibrate);
    ASSERT_EQ(driver->count("tt_set_calibration_freq"), 1); // one step, one frequency
    EXPECT_NEAR(std::stod(driver->callsOf("tt_set_calibration_freq")[0].substr(24)),
                30978260.86956522 / 30978, 1e-6);
    const QList<UiCalChannelStat> stats = stage.controller().calibrationStats();
    ASSERT_EQ(stats.size(), 4);
    EXPECT_EQ(stats[0].samples + stats[1].samples + stats[2].samples + stats[3].samples, 50U);
}

TEST_F(CalibrationByOperator, TheNumbersAreKeptForTheSessionOnceItStarted) {
    useOneLine();
    startBy(3);
    judge(false, false);
    stage.use(kCalibrate);
    EXPECT_EQ(driver->count("tt_set_calibration_freq"), 3);
    stage.answer("Calibration", [](QDialog& dialog) {
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "duration").value(), 0.05);
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "rate").value(), 1.0);
        EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 3);
        control<QSpinBox>(dialog, "steps").setValue(9);
        click(dialog, "Close");
    });
    stage.use(kCalibrate);
    stage.answer("Calibration", [](QDialog& dialog) {
        EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 3); // what was closed is not kept
        click(dialog, "Close");
    });
    stage.use(kCalibrate);
}

TEST_F(CalibrationByOperator, UploadsTheSavedFile) {
    driver->change([](auto& script) { script.calibrationPath = "/data/saved.cal"; });
    driver->clearLog();
    stage.answer("Calibration", [](QDialog& dialog) { click(dialog, "Upload saved"); });
    stage.use(kCalibrate);
    ASSERT_TRUE(driver->waitForCall("tt_set_tdl_active_masks"));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(/data/saved.cal)"});
    EXPECT_TRUE(waitUntilIdle());
}

TEST_F(CalibrationByOperator, UploadsAChosenFile) {
    const qorn::testing::TemporaryFolder folder;
    qorn::testing::writeBytes(folder.path() / "some.cal", Bytes{1});
    const QString path = QString::fromStdString(folder.file("some.cal"));
    qorn::testing::withFileDialog(
        [&](QFileDialog& files) { qorn::testing::choose(files, path); },
        [&] {
            stage.answer("Calibration", [](QDialog& dialog) { click(dialog, "Upload from file..."); });
            stage.use(kCalibrate);
        });
    ASSERT_TRUE(driver->waitForCall("tt_set_tdl_active_masks"));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(" + path.toStdString() + ")"});
    EXPECT_TRUE(waitUntilIdle());
}

// --- how far it is -----------------------------------------------------------------------------------------

TEST_F(CalibrationByOperator, TellsThatItRunsAndBlocksTheWindow) {
    useOneLine();
    driver->hold("tt_start_calibration_stream");
    startBy(4);
    stage.use(kCalibrate);
    ASSERT_TRUE(driver->waitUntilHeld("tt_start_calibration_stream"));
    EXPECT_EQ(stage.status(), text("Calibrating..."));
    EXPECT_TRUE(stage.statusLabelReads("calibrating"));
    EXPECT_FALSE(stage.entry(kCalibrate).isEnabled());
    EXPECT_TRUE(stage.entry("Network relay...").isEnabled());
    const CalibrationProgressDialog* dialog = progress();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(QApplication::activeModalWidget(), dialog);
    EXPECT_EQ(dialog->value(), 0);
    EXPECT_EQ(dialog->labelText(), text("Starting calibration sweep..."));
    judge(false, false);
    driver->release("tt_start_calibration_stream");
    stage.finishAnswers();
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(dialog->value(), 100);
    EXPECT_EQ(dialog->labelText(), text("Calibrating stage 1 of 1..."));
    EXPECT_TRUE(stage.statusLabelReads("idle"));
    EXPECT_FALSE(stage.statusLabelReads("calibrating"));
    EXPECT_TRUE(stage.entry(kCalibrate).isEnabled());
}

TEST_F(CalibrationByOperator, StoppedItShowsNoBox) {
    useOneLine();
    driver->hold("tt_start_calibration_stream");
    startBy(50);
    stage.use(kCalibrate);
    ASSERT_TRUE(driver->waitUntilHeld("tt_start_calibration_stream"));
    ASSERT_NE(progress(), nullptr);
    click(*progress(), "Stop");
    EXPECT_TRUE(progress()->isVisible()); // until the device is free
    EXPECT_TRUE(stage.controller().isCalibrating());
    driver->release("tt_start_calibration_stream");
    ASSERT_TRUE(waitUntilIdle());
    stage.finishAnswers();
    EXPECT_TRUE(qorn::testing::waitUntil([this] { return !progress()->isVisible(); }));
    EXPECT_EQ(stage.status(), text("Calibration canceled."));
    EXPECT_EQ(stage.statusTime(), 5000);
    EXPECT_TRUE(stage.statusLabelReads("idle"));
    EXPECT_TRUE(stage.entry(kCalibrate).isEnabled());
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 1);
    startBy(1); // and the next one runs
    judge(false, false);
    stage.use(kCalibrate);
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 2);
}

TEST_F(CalibrationByOperator, AFailureIsToldInABox) {
    useOneLine();
    driver->fail("tt_start_calibration_stream", TT_REJECTED, "not now");
    startBy(2);
    stage.expectBox("Calibration failed", text("start_calibration_stream: rejected (not now)"));
    stage.use(kCalibrate);
    EXPECT_EQ(stage.statusTime(), 5000);
    EXPECT_TRUE(stage.takeShown().contains(text("start_calibration_stream: rejected (not now)")));
    EXPECT_FALSE(progress()->isVisible());
    EXPECT_TRUE(stage.statusLabelReads("idle"));
    EXPECT_TRUE(stage.entry(kCalibrate).isEnabled());
}

// --- what becomes of it ------------------------------------------------------------------------------------

TEST_F(CalibrationByOperator, TheResultShowsEveryLineThatWasMeasured) {
    ASSERT_TRUE(stage.controller().setTdlMasks({3, 1, 1, 1}, nullptr));
    startBy(1);
    stage.answer("Calibration result", [this](QDialog& dialog) {
        EXPECT_EQ(stage.status(), text("Calibration completed: 8 of 8 checks passed using 100 samples."));
        EXPECT_EQ(stage.statusTime(), 5000);
        EXPECT_FALSE(progress()->isVisible());
        EXPECT_TRUE(stage.statusLabelReads("idle"));
        EXPECT_TRUE(dialog.isModal());
        const auto& table = control<QTableWidget>(dialog, "results");
        ASSERT_EQ(table.rowCount(), 4);
        ASSERT_GE(table.columnCount(), 4);
        EXPECT_EQ(table.item(0, 0)->text(), text("IN1"));
        EXPECT_EQ(table.item(0, 1)->text(), text("26")); // 50 tags on 4 inputs, twice
        EXPECT_EQ(table.item(3, 1)->text(), text("24"));
        EXPECT_TRUE(table.item(0, 2)->text().endsWith(text(" ps")));
        EXPECT_TRUE(table.item(3, 3)->text().endsWith(text(" ps")));
        click(dialog, "Cancel");
    });
    stage.use(kCalibrate);
}

TEST_F(CalibrationByOperator, DiscardedItStaysUnapplied) {
    useOneLine();
    const auto discard = [this](bool apply, bool save, const char* button) {
        stage.takeShown();
        startBy(1);
        judge(apply, save, button);
        stage.use(kCalibrate);
        EXPECT_EQ(stage.statusTime(), 4000);
        EXPECT_EQ(stage.takeShown().last(), text("Calibration discarded."));
    };
    const QString flag = stage.flag("Cal upload:");
    discard(true, true, "Cancel");
    discard(false, false, "Cancel");
    discard(false, false, "Apply");
    EXPECT_EQ(driver->count("tt_upload_calibration_file"), 0);
    EXPECT_FALSE(QFile::exists(savedPath()));
    EXPECT_EQ(stage.flag("Cal upload:"), flag);
    EXPECT_EQ(stage.controller().calibrationStats().size(), 4); // pending all the same
}

TEST_F(CalibrationByOperator, AppliedItIsUploadedOrSaved) {
    struct Row {
        bool apply;
        bool save;
        const char* flag;
        const char* state;
    };
    useOneLine();
    for (const Row& row :
         {Row{true, false, "Cal upload: uploaded", "good"}, Row{true, true, "Cal upload: uploaded", "good"},
          Row{false, true, "Cal upload: saved", "active"}}) {
        SCOPED_TRACE(row.flag);
        QFile::remove(savedPath());
        driver->clearLog();
        startBy(1);
        judge(row.apply, row.save);
        stage.use(kCalibrate);
        EXPECT_EQ(stage.flag("Cal upload:"), text(row.flag));
        EXPECT_EQ(stage.flagState("Cal upload:"), text(row.state));
        EXPECT_EQ(stage.status(), text("Calibration applied."));
        EXPECT_EQ(stage.statusTime(), 6000);
        EXPECT_EQ(driver->count("tt_upload_calibration_file"), row.apply ? 1 : 0);
        EXPECT_EQ(QFile::exists(savedPath()), row.save);
        EXPECT_GE(driver->count("tt_get_reference_clock_status"), 1);
        EXPECT_TRUE(stage.entry(kCalibrate).isEnabled());
    }
}

TEST_F(CalibrationByOperator, AResultThatCannotBeAppliedIsTold) {
    useOneLine();
    driver->fail("tt_upload_calibration_file", TT_REJECTED, "bad checksum");
    const QString flag = stage.flag("Cal upload:");
    startBy(1);
    judge(true, false);
    stage.expectBox("Calibration", text("Could not apply calibration: rejected: bad checksum"));
    stage.use(kCalibrate);
    EXPECT_EQ(stage.flag("Cal upload:"), flag);
    EXPECT_FALSE(stage.takeShown().contains(text("Calibration applied.")));
    EXPECT_TRUE(stage.entry(kCalibrate).isEnabled());
}

TEST_F(CalibrationByOperator, ACanceledApplicationIsNoBox) {
    useOneLine();
    driver->fail("tt_upload_calibration_file", TT_REJECTED, "canceled");
    startBy(1);
    judge(true, false);
    stage.use(kCalibrate);
    EXPECT_EQ(stage.status(), text("rejected: canceled"));
    EXPECT_EQ(stage.statusTime(), 5000);
}

} // namespace
} // namespace qorn::timetagger::gui
