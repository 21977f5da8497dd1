// A calibration as the controller runs it: on a thread of its own, refused, ended, canceled, its result kept.
#include "ControllerTest.h"

#include "Environment.h"
#include "FineCalibration.h"
#include "StreamBuilder.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::Bytes;
using qorn::testing::Environment;
using test::Texts;

class CalibrationByController : public test::ControllerTest {
protected:
    CalibrationByController() {
        using C = DeviceController;
        QObject::connect(controller.get(), &C::calibrationStarted, signalled.get(), [this] {
            events.push_back("started");
            EXPECT_TRUE(controller->isCalibrating());
        });
        QObject::connect(controller.get(), &C::calibrationProgress, signalled.get(),
                         [this](int percent, const QString& text) {
                             events.push_back(std::to_string(percent) + " " + text.toStdString());
                         });
        QObject::connect(
            controller.get(), &C::calibrationFinished, signalled.get(),
            [this](bool ok, const QString& text) {
                EXPECT_EQ(QThread::currentThread(), controller->thread());
                busyAtEnd = controller->isCalibrating();
                events.push_back(std::string(ok ? "ok " : "failed ") + text.toStdString());
                ++finished;
            },
            Qt::DirectConnection);
        driver->onCall("tt_start_calibration_stream", [this](int number) {
            Bytes bytes;
            for (int i = 0; i < 400; ++i) { // codes 0 and `number`
                qorn::testing::appendRaw64(
                    bytes, qorn::testing::raw64CoarseFine(i % 4, static_cast<std::uint64_t>(i),
                                                          static_cast<std::uint64_t>(i / 4 % 2 * number)));
            }
            driver->feed(bytes);
        });
    }

    bool waitUntilFinished(int times = 1) {
        return test::runUntil([&] { return finished >= times; });
    }
    void runToItsEnd(unsigned long samples = 400, unsigned long steps = 1) {
        controller->runCalibration(samples, steps, 100000.0);
        ASSERT_TRUE(waitUntilFinished(finished + 1));
    }
    void useLines(unsigned char mask) {
        ASSERT_TRUE(controller->setTdlMasks({mask, mask, mask, mask}, nullptr));
        driver->clearLog();
    }
    std::string last() const { return events.empty() ? std::string() : events.back(); }

    Environment fpga{"QORN_CAL_FPGA_SWEEP"};
    Environment host{"QORN_CAL_HOST_SWEEP"};
    Environment dwell{"QORN_CAL_SWEEP_DWELL"};
    Texts events;
    int finished = 0;
    bool busyAtEnd = true;
};

const char* const kBusy = "failed Stop the current capture before calibrating";

TEST_F(CalibrationByController, NeedsADevice) {
    controller->runCalibration(400, 1, 100000.0);
    EXPECT_TRUE(waitUntilFinished());
    EXPECT_EQ(events, Texts{"failed Device is not open"});
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(CalibrationByController, NeedsAnIdleDevice) {
    openDevice();
    beginCounting();
    controller->runCalibration(400, 1, 100000.0);
    EXPECT_TRUE(waitUntilFinished());
    EXPECT_EQ(events, Texts{kBusy});
    EXPECT_FALSE(controller->isCalibrating());
    endCounting();
    beginUpload();
    controller->runCalibration(400, 1, 100000.0);
    EXPECT_TRUE(waitUntilFinished(2));
    EXPECT_EQ(events, (Texts{kBusy, kBusy}));
    EXPECT_TRUE(controller->isCalibrating());
    endUpload();
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 0);
}

TEST_F(CalibrationByController, BeginsGoesOnAndEndsInOrder) {
    openDevice();
    useLines(3);
    controller->runCalibration(400, 2, 100000.0);
    EXPECT_EQ(events, Texts{"started"});
    EXPECT_TRUE(controller->isCalibrating());
    ASSERT_TRUE(waitUntilFinished());
    EXPECT_EQ(events, (Texts{"started", "25 Calibrating stage 1 of 2...", "50 Calibrating stage 1 of 2...",
                             "75 Calibrating stage 2 of 2...", "100 Calibrating stage 2 of 2...",
                             "ok Calibration completed: 8 of 8 checks passed using 800 samples."}));
    EXPECT_FALSE(busyAtEnd);
    EXPECT_FALSE(controller->isCalibrating());
}

TEST_F(CalibrationByController, RunsOnAPoolThread) {
    openDevice();
    runToItsEnd();
    ASSERT_FALSE(driver->calls().empty());
    for (const auto& call : driver->log()) {
        EXPECT_NE(call.thread, std::this_thread::get_id()) << call.text();
    }
}

TEST_F(CalibrationByController, MeasuresTheLinesOfTheMasks) {
    openDevice();
    const std::pair<std::array<unsigned char, 4>, Texts> rows[] = {
        {{0, 0, 0, 0}, {"tt_start_calibration_stream(0)"}},
        {{0, 4, 0, 2}, {"tt_start_calibration_stream(1)", "tt_start_calibration_stream(2)"}},
    };
    for (const auto& [masks, starts] : rows) {
        ASSERT_TRUE(controller->setTdlMasks(masks, nullptr));
        driver->clearLog();
        runToItsEnd();
        EXPECT_EQ(driver->callsOf("tt_start_calibration_stream"), starts);
    }
}

TEST_F(CalibrationByController, KeepsWhatWasMeasuredForAsking) {
    openDevice();
    useLines(5);
    EXPECT_TRUE(controller->calibrationStats().isEmpty());
    runToItsEnd();
    const QList<UiCalChannelStat> stats = controller->calibrationStats();
    ASSERT_EQ(stats.size(), 8);
    for (int row = 0; row < 8; ++row) {
        EXPECT_EQ(stats[row].delayLine, row < 4 ? 0 : 2);
        EXPECT_EQ(stats[row].input, row % 4);
        EXPECT_EQ(stats[row].samples, 100U);
        EXPECT_EQ(stats[row].uniqueCodes, 2U);
        EXPECT_TRUE(stats[row].lutApplied);
        EXPECT_NEAR(stats[row].resolutionPs, 962.1542236045113 / 2, 1e-9);
    }
}

TEST_F(CalibrationByController, AppliesNothingByItself) {
    openDevice();
    runToItsEnd();
    EXPECT_EQ(driver->count("tt_upload_calibration_file"), 0);
    EXPECT_EQ(driver->count("tt_set_tdl_active_masks"), 0);
    EXPECT_FALSE(
        QFile::exists(QDir::homePath() + QStringLiteral("/.qorn.timing/calibrations/qorn_cal_SN0001.cal")));
}

TEST_F(CalibrationByController, TheResultIsUploadedWhenItIsApplied) {
    openDevice();
    useLines(3);
    runToItsEnd();
    driver->clearLog();
    const std::string sent =
        QDir::temp().filePath(QStringLiteral("qorn_cal_upload_SN0001.cal")).toStdString();
    timing::FineCalibration uploaded;
    driver->onCall("tt_upload_calibration_file",
                   [&](int) { EXPECT_TRUE(timing::load_calibration_file(sent, uploaded)); });
    QString report;
    EXPECT_TRUE(controller->applyCalibration(true, false, &report)) << report.toStdString();
    EXPECT_EQ(driver->calls(),
              (Texts{"tt_upload_calibration_file(" + sent + ")", "tt_set_tdl_active_masks(3,3,3,3)"}));
    EXPECT_EQ(uploaded.serial, "SN0001");
    ASSERT_EQ(uploaded.tdls.size(), 2U);
    EXPECT_EQ(uploaded.tdls[0].tdl_index, 0);
    EXPECT_EQ(uploaded.tdls[1].tdl_index, 1);
    EXPECT_EQ(uploaded.tdls[0].luts[2].entries.at(1), 2500); // codes 0 and 1
    EXPECT_EQ(uploaded.tdls[1].luts[2].entries.at(1), 1667); // codes 0 and 2
    EXPECT_EQ(uploaded.tdls[1].luts[2].entries.at(2), 2500);
    EXPECT_FALSE(QFile::exists(QString::fromStdString(sent)));
}

TEST_F(CalibrationByController, TheResultIsSavedAndServesASecondTime) {
    openDevice();
    runToItsEnd();
    const QString path = QDir::homePath() + QStringLiteral("/.qorn.timing/calibrations/qorn_cal_SN0001.cal");
    QString report;
    ASSERT_TRUE(controller->applyCalibration(false, true, &report));
    EXPECT_EQ(report, QStringLiteral("Calibration saved for a future session."));
    EXPECT_TRUE(controller->loadCalibrationFileFromPath(path, &report)) << report.toStdString();
    timing::FineCalibration saved;
    EXPECT_TRUE(timing::load_calibration_file(path.toStdString(), saved));
    EXPECT_EQ(saved.serial, "SN0001");
    QFile::remove(path);
}

TEST_F(CalibrationByController, ACancellationEndsItAfterTheStep) {
    openDevice();
    driver->hold("tt_start_calibration_stream");
    controller->runCalibration(400, 20, 100000.0);
    ASSERT_TRUE(driver->waitUntilHeld("tt_start_calibration_stream"));
    controller->cancelCalibration();
    EXPECT_TRUE(controller->isCalibrating());
    driver->release("tt_start_calibration_stream");
    ASSERT_TRUE(waitUntilFinished());
    EXPECT_EQ(events, (Texts{"started", "failed Calibration canceled."}));
    EXPECT_FALSE(busyAtEnd);
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 1);
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 1);
}

TEST_F(CalibrationByController, ACancellationRightAfterTheStartIsACancellation) {
    openDevice();
    useLines(1);
    driver->hold("tt_set_calibration_freq"); // which the task may or may not have reached by then
    controller->runCalibration(400, 20, 100000.0);
    controller->cancelCalibration();
    driver->release("tt_set_calibration_freq");
    ASSERT_TRUE(waitUntilFinished());
    EXPECT_EQ(last(), "failed Calibration canceled.");
    EXPECT_LE(driver->count("tt_start_calibration_stream"), 1);
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), driver->count("tt_stop_calibration_stream"));
}

TEST_F(CalibrationByController, AnEarlierCancellationDoesNotCount) {
    openDevice();
    useLines(1);
    controller->cancelCalibration();
    runToItsEnd();
    EXPECT_EQ(last(), "ok Calibration completed: 4 of 4 checks passed using 400 samples.");
}

TEST_F(CalibrationByController, ACanceledOneLeavesTheDeviceUsable) {
    openDevice();
    useLines(1);
    driver->onCall("tt_stop_calibration_stream", [this](int number) {
        if (number == 10) {
            controller->cancelCalibration();
        }
    });
    runToItsEnd(400, 20);
    EXPECT_EQ(last(), "failed Calibration canceled.");
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 10);
    QString error;
    EXPECT_TRUE(controller->setThresholds({1, 1, 1, 1}, &error)) << error.toStdString();
    beginCounting();
    endCounting();
    runToItsEnd();
    EXPECT_EQ(last(), "ok Calibration completed: 4 of 4 checks passed using 400 samples.");
}

TEST_F(CalibrationByController, TheResultOfBeforeIsGoneOnceANewOneBegins) {
    openDevice();
    useLines(1);
    runToItsEnd();
    ASSERT_EQ(controller->calibrationStats().size(), 4);
    driver->hold("tt_start_calibration_stream");
    controller->runCalibration(400, 20, 100000.0);
    ASSERT_TRUE(driver->waitUntilHeld("tt_start_calibration_stream"));
    controller->cancelCalibration();
    driver->release("tt_start_calibration_stream");
    ASSERT_TRUE(waitUntilFinished(2));
    QString report;
    EXPECT_TRUE(controller->calibrationStats().isEmpty());
    EXPECT_FALSE(controller->applyCalibration(false, false, &report));
    EXPECT_EQ(report, QStringLiteral("No calibration result to apply"));
}

TEST_F(CalibrationByController, AFailedOneIsToldAndLeavesNoResult) {
    openDevice();
    runToItsEnd();
    driver->fail("tt_start_calibration_stream", TT_REJECTED, "busy");
    runToItsEnd();
    EXPECT_EQ(last(), "failed start_calibration_stream: rejected (busy)");
    EXPECT_FALSE(busyAtEnd);
    QString report;
    EXPECT_FALSE(controller->applyCalibration(true, false, &report));
    EXPECT_EQ(report, QStringLiteral("No calibration result to apply"));
    EXPECT_TRUE(controller->calibrationStats().isEmpty());
}

TEST_F(CalibrationByController, OneWithoutATagIsAFailure) {
    openDevice();
    fpga.set("1");
    runToItsEnd(0, 4);
    EXPECT_EQ(last(), "failed Calibration captured 0 tags \u2014 the calibration stream delivered no data. "
                      "Check the device connection and try again.");
}

TEST_F(CalibrationByController, WhileItRunsNothingElseStarts) {
    openDevice();
    useLines(1);
    driver->hold("tt_start_calibration_stream");
    controller->runCalibration(400, 1, 100000.0);
    ASSERT_TRUE(driver->waitUntilHeld("tt_start_calibration_stream"));
    controller->runCalibration(400, 1, 100000.0);
    EXPECT_TRUE(waitUntilFinished());
    EXPECT_EQ(last(), kBusy);
    controller->uploadCalibrationFile(QStringLiteral("/data/a.cal"));
    EXPECT_EQ(signalled->textsOf("calibrationUploadFinished"),
              Texts{"calibrationUploadFinished(0, Stop the current capture or calibration before uploading "
                    "calibration data)"});
    controller->startCounterMeasurements(0.1, false, 0.0);
    EXPECT_FALSE(controller->isCapturing());
    EXPECT_EQ(signalled->count("captureError"), 1);
    driver->release("tt_start_calibration_stream");
    ASSERT_TRUE(waitUntilFinished(2));
    EXPECT_EQ(last(), "ok Calibration completed: 4 of 4 checks passed using 400 samples.");
    EXPECT_EQ(driver->count("tt_upload_calibration_file"), 0);
    EXPECT_EQ(driver->count("tt_start_count_stream"), 0);
}

TEST_F(CalibrationByController, ClosingWaitsForIt) {
    openDevice();
    useLines(1);
    controller->runCalibration(400, 50000, 100000.0);
    ASSERT_TRUE(driver->waitForCall("tt_start_calibration_stream", 2));
    controller->close();
    EXPECT_FALSE(controller->hasDevice());
    EXPECT_FALSE(controller->isCalibrating());
    EXPECT_LT(driver->count("tt_start_calibration_stream"), 50000);
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), driver->count("tt_stop_calibration_stream"));
    EXPECT_EQ(driver->openHandles(), 0);
    test::processQueued();
    openDevice();
    finished = 0;
    runToItsEnd();
    EXPECT_EQ(last(), "ok Calibration completed: 4 of 4 checks passed using 400 samples.");
}

TEST_F(CalibrationByController, TheControllersEndWaitsForItToo) {
    openDevice();
    controller->runCalibration(400, 500, 100000.0);
    ASSERT_TRUE(driver->waitForCall("tt_start_calibration_stream", 2));
    controller.reset();
    EXPECT_EQ(driver->openHandles(), 0);
    EXPECT_EQ(driver->breaches(), Texts{});
}

TEST_F(CalibrationByController, AClosedDevicesResultIsNotTheNextOnes) {
    openDevice();
    runToItsEnd();
    controller->close();
    openDevice();
    QString report;
    EXPECT_FALSE(controller->applyCalibration(false, false, &report));
    EXPECT_EQ(report, QStringLiteral("No calibration result to apply"));
}

} // namespace
} // namespace qorn::timetagger::gui
