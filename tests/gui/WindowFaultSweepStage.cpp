#include "WindowFaultSweepStage.h"

#include "CalibrationResultDialog.h"
#include "ClockSettingsDialog.h"
#include "DeveloperSettingsDialog.h"
#include "Error.h"
#include "FineCalibration.h"
#include "InputSettingsDialog.h"
#include "StreamFileReader.h"
#include "WidgetFinder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QJsonObject>
#include <QLabel>
#include <QMessageBox>
#include <QSignalSpy>

#include <array>

namespace qorn::testing {
namespace {

constexpr std::array<double, 4> kDeadTimesNs{10, 10, 10, 10};

void saveCalibration(const QString& path) {
    timing::FineCalibration calibration;
    calibration.serial = "SIM00001";
    for (std::uint8_t line = 0; line < 3; ++line) {
        timing::FineCalibration::TdlEntry entry;
        entry.tdl_index = line;
        entry.luts.fill(timing::FineLut::identity());
        calibration.tdls.push_back(entry);
    }
    timing::save_calibration_file(path.toStdString(), calibration);
}

bool hasTags(const gui::ExperimentTab& tab) {
    const QString status = WindowStage::statusOf(tab);
    return tab.experimentType() != QStringLiteral("Time tags") ||
           (status.startsWith(QStringLiteral("tags ")) && !status.startsWith(QStringLiteral("tags 0 ")));
}

std::size_t tagsIn(const QString& path) {
    timing::StreamFileReader reader;
    std::size_t count = 0;
    try {
        reader.open(path.toStdString());
        for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
            count += tags.size();
        }
    } catch (const timing::Error& error) {
        ADD_FAILURE() << error.what();
    }
    EXPECT_EQ(reader.skipped_bytes(), 0U) << path.toStdString();
    return count;
}

} // namespace

FaultSweepStage::FaultSweepStage(const QByteArray& scene)
    : DeviceMenuStage(scene), faulting(timing::driver()),
      simulated(timing::exchange_driver(&faulting.table())) {
    saveCalibration(savedCalibration());
    startWindow();
    EXPECT_TRUE(clickConnect());
    EXPECT_TRUE(waitUntil([this] { return !controller().isCalibrating(); }));
    EXPECT_TRUE(controller().setInputDeadTimesNs(kDeadTimesNs, nullptr, nullptr));
}

FaultSweepStage::~FaultSweepStage() {
    destroyWindow();
    timing::exchange_driver(simulated);
}

void FaultSweepStage::startWindow() {
    openWindow();
    QObject::connect(window().statusBar(), &QStatusBar::messageChanged, &window(),
                     [this](const QString& text) { told.append(text); });
    QObject::connect(&controller(), &gui::DeviceController::clockStatusChanged, &window(),
                     [this] { told.append(flag("Clock lock")); });
}

bool FaultSweepStage::saysOnConnectPage(const QString& words) {
    const QList<QLabel*> labels = window().setupPage().findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel* label) { return label->text().contains(words); });
}

void FaultSweepStage::clickOnSetup(const char* text) {
    QAbstractButton* button = findButton(window().setupPage(), QString::fromUtf8(text));
    ASSERT_TRUE(waitUntil([&] { return button->isEnabled(); })) << text;
    QTest::mouseClick(button, Qt::LeftButton);
}

void FaultSweepStage::scan() {
    const QSignalSpy found(&controller(), &gui::DeviceController::devicesDiscovered);
    clickOnSetup("Refresh");
    EXPECT_TRUE(waitUntil([&] { return !found.isEmpty(); }));
}

// The reset scans again when it worked.
void FaultSweepStage::resetUsb() {
    const QSignalSpy reset(&controller(), &gui::DeviceController::usbCycleFinished);
    const QSignalSpy found(&controller(), &gui::DeviceController::devicesDiscovered);
    clickOnSetup("USB reset selected");
    EXPECT_TRUE(waitUntil([&] { return !reset.isEmpty(); }));
    if (!reset.isEmpty() && reset.constFirst().constFirst().toBool()) {
        EXPECT_TRUE(waitUntil([&] { return !found.isEmpty(); }));
    }
}

// Behind the upload of the saved calibration comes the clock, which ends the opening.
void FaultSweepStage::connectDevice() {
    const std::uint64_t before = faulting.count("tt_set_reference_clock");
    clickOnSetup("Connect");
    EXPECT_TRUE(waitUntil([&] {
        return !boxes().isEmpty() || (controller().hasDevice() && !controller().isCalibrating() &&
                                      faulting.count("tt_set_reference_clock") > before);
    }));
}

void FaultSweepStage::closeDevice() {
    QAction* close = menuAction("&Close device");
    ASSERT_TRUE(close->isEnabled());
    close->trigger();
    EXPECT_FALSE(controller().hasDevice());
    EXPECT_TRUE(window().setupPage().isVisible());
}

void FaultSweepStage::applyInputs() {
    click(choose<gui::InputSettingsDialog>("&Input settings..."), "Apply");
}

void FaultSweepStage::applyClock() {
    click(choose<gui::ClockSettingsDialog>("Clock settings..."), "Apply");
}

void FaultSweepStage::pollClock() {
    for (std::uint64_t poll = 0; poll < kPolls; ++poll) {
        controller().refreshClockStatus();
    }
}

void FaultSweepStage::measureWithExternalClock() {
    const timing::ReferenceSignal signal = timing::ReferenceSignal::TenMegahertz;
    controller().setReferenceClockWish(timing::ReferenceClockSource::External, signal);
    measure(counterTab(), "tt_read_count_stream_sample", false);
    controller().setReferenceClockWish(timing::ReferenceClockSource::Internal, signal);
}

void FaultSweepStage::applyDeveloperSettings(bool internal) {
    constexpr int kRaw64 = 2;
    auto& dialog = choose<gui::DeveloperSettingsDialog>("De&veloper settings...");
    control<QCheckBox>(dialog, "internalSource").setChecked(internal);
    control<QComboBox>(dialog, "streamFormat").setCurrentIndex(internal ? kRaw64 : 0);
    click(dialog, "Apply");
}

void FaultSweepStage::uploadSaved() {
    const QSignalSpy ended(&controller(), &gui::DeviceController::calibrationUploadFinished);
    click(choose<gui::DeveloperSettingsDialog>("De&veloper settings..."), "Upload saved calibration");
    EXPECT_TRUE(waitUntil([&] { return !ended.isEmpty(); }));
}

void FaultSweepStage::play(gui::ExperimentTab& tab, const char* polled) {
    press(tab, "Play");
    EXPECT_TRUE(waitUntil([&] {
        return !boxes().isEmpty() || (faulting.count(polled) >= kPolls && hasTags(tab));
    })) << statusOf(tab).toStdString();
}

void FaultSweepStage::restartWindow() {
    destroyWindow();
    startWindow();
    const auto* list = window().setupPage().findChild<QComboBox*>();
    EXPECT_TRUE(waitUntil([&] { return list->count() > 0; }));
}

void FaultSweepStage::measure(gui::ExperimentTab& tab, const char* polled, bool holdLast) {
    play(tab, polled);
    if (holdLast) {
        faulting.holdNext(polled);
        EXPECT_TRUE(waitUntil([this] { return faulting.isHolding(); }));
    }
    if (boxes().isEmpty() && tab.isRunning()) {
        press(tab, "Stop");
    }
    faulting.letGo();
    EXPECT_TRUE(waitForIdle());
}

void FaultSweepStage::calibrate() {
    constexpr unsigned long kSamples = 1200;
    constexpr unsigned long kSteps = 2;
    controller().runCalibration(kSamples, kSteps, 200000.0);
    EXPECT_TRUE(waitUntil([this] { return !boxes().isEmpty() || isShown<gui::CalibrationResultDialog>(); }));
}

void FaultSweepStage::applyCalibration() {
    click(*shown<gui::CalibrationResultDialog>(), "Apply");
}

gui::ExperimentTab& FaultSweepStage::tabFor(const char* type) {
    for (int index = 0; index < tabs().count(); ++index) {
        if (tab(index).experimentType() == QString::fromUtf8(type)) {
            return tab(index);
        }
    }
    return addTab(type);
}

gui::ExperimentTab& FaultSweepStage::counterTab() {
    gui::ExperimentTab& tab = tabFor("Counter");
    tab.loadConfig({{QStringLiteral("integrationSec"), 0.01}});
    return tab;
}

gui::ExperimentTab& FaultSweepStage::coincidenceTab() {
    gui::ExperimentTab& tab = tabFor("Coincidence");
    tab.loadConfig(
        {{QStringLiteral("gateSec"), 0.01}, {QStringLiteral("acquisitionMode"), QStringLiteral("hardware")}});
    return tab;
}

gui::ExperimentTab& FaultSweepStage::recordingTab() {
    gui::ExperimentTab& tab = tabFor("Time tags");
    tab.setTimeTagRecordingDirectory(folder.path());
    if (!tab.timeTagRecordingEnabled()) {
        press(tab, "Complete time-tag recording");
    }
    return tab;
}

void FaultSweepStage::rejectDialogs() {
    for (QDialog* dialog : window().findChildren<QDialog*>()) {
        if (dialog->isVisible()) {
            dialog->reject();
        }
    }
}

FaultSweepStage::Recorded FaultSweepStage::takeRecordings() {
    Recorded recorded;
    const QDir files(folder.path());
    for (const QString& name : files.entryList({QStringLiteral("*.qornts")})) {
        recorded.tags += tagsIn(files.filePath(name));
        ++recorded.files;
    }
    for (const QString& name : files.entryList({QStringLiteral("*.qornts*")})) {
        EXPECT_TRUE(QFile::remove(files.filePath(name)));
    }
    return recorded;
}

} // namespace qorn::testing
