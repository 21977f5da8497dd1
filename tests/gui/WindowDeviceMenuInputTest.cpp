// Thresholds and dead times through the device menu: they reach the instrument, and its answer is told.
#include "DeviceMenuStage.h"
#include "InputSettingsDialog.h"
#include "QtPrinting.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QMessageBox>

#include <array>

namespace qorn::testing {
namespace {

using gui::InputSettingsDialog;

constexpr const char* kEntry = "&Input settings...";

QDoubleSpinBox& number(const QWidget& dialog, const char* name) {
    return DeviceMenuStage::control<QDoubleSpinBox>(dialog, name);
}

void tick(const QWidget& dialog, const char* name) {
    DeviceMenuStage::control<QCheckBox>(dialog, name).setChecked(true);
}

// What the next sample counts on each input.
std::array<quint64, 4> countOnce(DeviceMenuStage& stage) {
    std::array<quint64, 4> counts{};
    bool came = false;
    const auto connection = QObject::connect(&stage.controller(), &gui::DeviceController::counterSample,
                                             [&](const gui::UiCounterSample& sample) {
                                                 for (std::size_t i = 0; i < counts.size(); ++i) {
                                                     counts[i] = sample.counts.value(static_cast<int>(i));
                                                 }
                                                 came = true;
                                             });
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_TRUE(waitUntil([&] { return came; }));
    QObject::disconnect(connection);
    WindowStage::press(stage.tab(0), "Stop");
    EXPECT_TRUE(stage.waitForIdle());
    return counts;
}

TEST(WindowDeviceMenuInput, AThresholdAboveThePulsesSilencesItsInputAlone) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<InputSettingsDialog>(kEntry);
    EXPECT_DOUBLE_EQ(number(dialog, "threshold1").value(), 0.35);
    number(dialog, "threshold1").setValue(1.5);
    DeviceMenuStage::click(dialog, "Apply");
    EXPECT_EQ(stage.message(), QStringLiteral("Thresholds updated; input dead time disabled"));
    const std::array<quint64, 4> counts = countOnce(stage);
    EXPECT_EQ(counts[0], 0U);
    EXPECT_GT(counts[1], 0U);
    auto& again = stage.choose<InputSettingsDialog>(kEntry);
    EXPECT_DOUBLE_EQ(number(again, "threshold1").value(), 1.5);
    tick(again, "applyThresholdToAll");
    number(again, "thresholdAll").setValue(0.2);
    DeviceMenuStage::click(again, "Apply");
    EXPECT_EQ(stage.controller().inputSettings().thresholdsV, (std::array{0.2, 0.2, 0.2, 0.2}));
    EXPECT_GT(countOnce(stage)[0], 0U);
}

TEST(WindowDeviceMenuInput, DeadTimesAreToldAsTheInstrumentRoundedThem) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto* dialog = &stage.choose<InputSettingsDialog>(kEntry);
    tick(*dialog, "applyDeadTimeToAll");
    number(*dialog, "deadTimeAll").setValue(5.0);
    DeviceMenuStage::click(*dialog, "Apply");
    EXPECT_EQ(stage.message(),
              QStringLiteral("Thresholds updated; input dead time set to 6.666 ns on all inputs"));

    dialog = &stage.choose<InputSettingsDialog>(kEntry);
    EXPECT_DOUBLE_EQ(number(*dialog, "deadTime3").value(), 6.666);
    number(*dialog, "deadTime1").setValue(0.0);
    number(*dialog, "deadTime2").setValue(10.0);
    number(*dialog, "deadTime4").setValue(1000000.0);
    DeviceMenuStage::click(*dialog, "Apply");
    EXPECT_EQ(stage.message(), QStringLiteral("Input settings updated: IN1 0.000 ns, IN2 10.000 ns, "
                                              "IN3 6.666 ns, IN4 1000000.000 ns"));

    dialog = &stage.choose<InputSettingsDialog>(kEntry);
    EXPECT_EQ(number(*dialog, "deadTime1").text(), QStringLiteral("Off"));
    tick(*dialog, "applyDeadTimeToAll");
    number(*dialog, "deadTimeAll").setValue(0.0);
    DeviceMenuStage::click(*dialog, "Apply");
    EXPECT_EQ(stage.message(), QStringLiteral("Thresholds updated; input dead time disabled"));
}

TEST(WindowDeviceMenuInput, CancelChangesNothing) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<InputSettingsDialog>(kEntry);
    number(dialog, "threshold2").setValue(3.0);
    number(dialog, "deadTime2").setValue(100.0);
    DeviceMenuStage::click(dialog, "Cancel");
    EXPECT_EQ(stage.controller().inputSettings().thresholdsV, (std::array{0.35, 0.35, 0.35, 0.35}));
    EXPECT_FALSE(stage.controller().inputSettings().deadTimesConfigured);
    EXPECT_DOUBLE_EQ(number(stage.choose<InputSettingsDialog>(kEntry), "threshold2").value(), 0.35);
}

TEST(WindowDeviceMenuInput, ThresholdsThatFailAreToldAndDeadTimesAreNotSent) {
    DeviceMenuStage stage(
        standardScene(R"("faults": {"calls": [{"call": "tt_set_dac_codes", "at": 2, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<InputSettingsDialog>(kEntry);
    number(dialog, "threshold2").setValue(3.0);
    number(dialog, "deadTime2").setValue(100.0);
    DeviceMenuStage::click(dialog, "Apply");
    ASSERT_TRUE(stage.waitForBox("Input settings"));
    EXPECT_EQ(stage.boxes().constFirst()->icon(), QMessageBox::Warning);
    EXPECT_FALSE(stage.takeBox().isEmpty());
    EXPECT_EQ(stage.controller().inputSettings().thresholdsV[1], 0.35);
    EXPECT_FALSE(stage.controller().inputSettings().deadTimesConfigured);
}

TEST(WindowDeviceMenuInput, DeadTimesThatFailAreToldBesideTheThresholdsThatDidNot) {
    DeviceMenuStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_set_input_dead_times", "at": 1, "status": -4}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<InputSettingsDialog>(kEntry);
    number(dialog, "threshold2").setValue(0.5);
    number(dialog, "deadTime2").setValue(100.0);
    DeviceMenuStage::click(dialog, "Apply");
    ASSERT_TRUE(stage.waitForBox("Input settings"));
    const QString beginning = QStringLiteral("Thresholds were updated, but dead time could not be applied: ");
    const QString told = stage.takeBox();
    EXPECT_TRUE(told.startsWith(beginning)) << told.toStdString();
    EXPECT_GT(told.size(), beginning.size());
    EXPECT_EQ(stage.controller().inputSettings().thresholdsV[1], 0.5);
    EXPECT_EQ(stage.controller().inputSettings().deadTimesNs[1], 0.0);
}

} // namespace
} // namespace qorn::testing
