// Developer settings through the device menu: delay lines, stream format, the internal test source, and the
// uploads of calibrations.
#include "CalibrationDialog.h"
#include "DeveloperSettingsDialog.h"
#include "DeviceMenuStage.h"
#include "QtPrinting.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>

#include <cmath>

namespace qorn::testing {
namespace {

using gui::DeveloperSettingsDialog;
using Masks = std::array<unsigned char, 4>;

constexpr const char* kEntry = "De&veloper settings...";

void setTick(const QWidget& dialog, const char* name, bool on) {
    DeviceMenuStage::control<QCheckBox>(dialog, name).setChecked(on);
}

// Chooses masks that leave one line on inputs 2 and 4, and applies them.
void chooseSingleLines(DeviceMenuStage& stage) {
    auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
    for (const char* box : {"tdl21", "tdl23", "tdl41", "tdl42", "tdl33"}) {
        setTick(dialog, box, false);
    }
    DeviceMenuStage::control<QComboBox>(dialog, "streamFormat").setCurrentIndex(1);
    DeviceMenuStage::click(dialog, "Apply");
}

void answer(DeviceMenuStage& stage, QMessageBox::StandardButton button) {
    ASSERT_FALSE(stage.boxes().isEmpty());
    QTest::mouseClick(stage.boxes().constFirst()->button(button), Qt::LeftButton);
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowDeviceMenuDeveloper, AsksBeforeAnInputIsLeftWithOneLine) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    chooseSingleLines(stage);
    ASSERT_EQ(stage.boxes().size(), 1);
    const QMessageBox* box = stage.boxes().constFirst();
    EXPECT_EQ(box->icon(), QMessageBox::Warning);
    EXPECT_EQ(box->text(),
              QStringLiteral("Only one TDL is active on IN2, IN4. This is useful for diagnostics, "
                             "but it reduces timing resolution. Continue?"));
    EXPECT_EQ(box->standardButtons(), QMessageBox::Yes | QMessageBox::No);
    EXPECT_TRUE(box->defaultButton() == box->button(QMessageBox::No));
    answer(stage, QMessageBox::No);
    EXPECT_EQ(stage.controller().inputSettings().tdlMasks, (Masks{7, 7, 7, 7}));
    EXPECT_EQ(stage.controller().streamSettings().format, gui::StreamChoice::PackedDelta);
    EXPECT_NE(stage.message(), QStringLiteral("Developer settings applied."));

    chooseSingleLines(stage);
    answer(stage, QMessageBox::Yes);
    EXPECT_EQ(stage.controller().inputSettings().tdlMasks, (Masks{7, 2, 3, 4}));
    EXPECT_EQ(stage.controller().streamSettings().format, gui::StreamChoice::Delta32);
    EXPECT_EQ(stage.message(), QStringLiteral("Developer settings applied."));
}

TEST(WindowDeviceMenuDeveloper, EscapeOnTheQuestionMeansNo) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    chooseSingleLines(stage);
    ASSERT_EQ(stage.boxes().size(), 1);
    QTest::keyClick(stage.boxes().constFirst(), Qt::Key_Escape);
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_EQ(stage.controller().inputSettings().tdlMasks, (Masks{7, 7, 7, 7}));
}

TEST(WindowDeviceMenuDeveloper, AnInputWithoutALineIsLeftToTheFirmware) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
    for (const char* box : {"tdl11", "tdl12", "tdl13"}) {
        setTick(dialog, box, false);
    }
    DeviceMenuStage::click(dialog, "Apply");
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_EQ(stage.controller().inputSettings().tdlMasks, (Masks{0, 7, 7, 7}));
    EXPECT_EQ(stage.message(), QStringLiteral("Developer settings applied."));
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    WindowStage::press(tags, "Play");
    EXPECT_TRUE(stage.waitForData(tags));
}

TEST(WindowDeviceMenuDeveloper, MasksThatFailAreTold) {
    DeviceMenuStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_set_tdl_active_masks", "at": 2, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    DeviceMenuStage::click(stage.choose<DeveloperSettingsDialog>(kEntry), "Apply");
    ASSERT_TRUE(stage.waitForBox("TDL masks"));
    EXPECT_TRUE(stage.takeBox().startsWith(QStringLiteral("Could not apply TDL masks: ")));
    EXPECT_NE(stage.message(), QStringLiteral("Developer settings applied."));
}

TEST(WindowDeviceMenuDeveloper, TheStreamFormatIsThatOfTheNextStream) {
    struct Row {
        int index;
        const char* detail;
    };
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    for (const Row& row : {Row{2, "USB / Raw64"}, Row{1, "USB / Delta32"}, Row{0, "USB / Packed delta"}}) {
        auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
        DeviceMenuStage::control<QComboBox>(dialog, "streamFormat").setCurrentIndex(row.index);
        DeviceMenuStage::click(dialog, "Apply");
        WindowStage::press(tags, "Play");
        EXPECT_TRUE(stage.waitForData(tags)) << row.detail;
        EXPECT_TRUE(stage.detail().contains(QString::fromUtf8(row.detail))) << stage.detail().toStdString();
        WindowStage::press(tags, "Stop");
        ASSERT_TRUE(stage.waitForIdle());
    }
}

TEST(WindowDeviceMenuDeveloper, TheInternalSourceTakesThePlaceOfTheInputs) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
    setTick(dialog, "internalSource", true);
    DeviceMenuStage::control<QDoubleSpinBox>(dialog, "internalRate").setValue(50.0);
    DeviceMenuStage::click(dialog, "Apply");
    std::optional<double> rateHz;
    QObject::connect(&stage.controller(), &gui::DeviceController::counterSample, &stage.window(),
                     [&](const gui::UiCounterSample& sample) {
                         rateHz = static_cast<double>(sample.counts.value(3)) / sample.gateSeconds;
                     });
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_TRUE(stage.detail().contains(QStringLiteral("internal"))) << stage.detail().toStdString();
    ASSERT_TRUE(waitUntil([&] { return rateHz.has_value(); }));
    EXPECT_NEAR(*rateHz, 50000.0, 2500.0) << "input 4 alone has 1500 per second";
    WindowStage::press(stage.tab(0), "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    const gui::DeveloperSettings kept = stage.choose<DeveloperSettingsDialog>(kEntry).settings();
    EXPECT_TRUE(kept.internalSource);
    EXPECT_DOUBLE_EQ(kept.internalRateKhz, 50.0);
}

TEST(WindowDeviceMenuDeveloper, TheCalibrationNumbersAreThoseOfTheCalibrationDialog) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
    DeviceMenuStage::control<QDoubleSpinBox>(dialog, "duration").setValue(0.25);
    DeviceMenuStage::control<QDoubleSpinBox>(dialog, "rate").setValue(40.0);
    DeviceMenuStage::control<QSpinBox>(dialog, "steps").setValue(12);
    DeviceMenuStage::click(dialog, "Apply");
    EXPECT_EQ(stage.choose<gui::CalibrationDialog>("&Calibrate...").settings(),
              (gui::CalibrationSettings{0.25, 40.0, 12}));
}

TEST(WindowDeviceMenuDeveloper, CancelChangesNothing) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
    const gui::DeveloperSettings before = dialog.settings();
    setTick(dialog, "selectAll", false);
    setTick(dialog, "internalSource", true);
    DeviceMenuStage::control<QComboBox>(dialog, "streamFormat").setCurrentIndex(2);
    DeviceMenuStage::control<QSpinBox>(dialog, "steps").setValue(3);
    DeviceMenuStage::click(dialog, "Cancel");
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_EQ(stage.choose<DeveloperSettingsDialog>(kEntry).settings(), before);
    EXPECT_EQ(stage.controller().inputSettings().tdlMasks, (Masks{7, 7, 7, 7}));
}

TEST(WindowDeviceMenuDeveloper, AnUploadWithoutASavedFileIsToldAndChangesNoSetting) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<DeveloperSettingsDialog>(kEntry);
    setTick(dialog, "internalSource", true);
    DeviceMenuStage::click(dialog, "Upload saved calibration");
    EXPECT_FALSE(stage.isShown<DeveloperSettingsDialog>());
    ASSERT_TRUE(stage.waitForBox("Calibration"));
    EXPECT_FALSE(stage.takeBox().isEmpty());
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
    EXPECT_FALSE(stage.choose<DeveloperSettingsDialog>(kEntry).settings().internalSource);
}

} // namespace
} // namespace qorn::testing
