#include "InputSettingsDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QCheckBox>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::control;
using qorn::testing::text;
using Four = std::array<double, 4>;

// One of the two groups: its title, the names of its controls, and what they take.
struct GroupRow {
    const char* title;
    const char* each; // followed by the input's number
    const char* all;
    const char* applyToAll;
    qorn::testing::Range range;
    Four values;
};

const GroupRow kThresholds{
    "Thresholds",         "threshold", "thresholdAll", "applyThresholdToAll", {0.0, 4.0, 3, 0.01, " V"},
    {0.25, 1.5, 0.0, 4.0}};
const GroupRow kDeadTime{"Dead time",
                         "deadTime",
                         "deadTimeAll",
                         "applyDeadTimeToAll",
                         {0.0, 1000000.0, 3, 1.0, " ns"},
                         {0.0, 3.334, 100.5, 1000000.0}};
const GroupRow kGroups[] = {kThresholds, kDeadTime};

InputChoice someChoice() {
    return {kThresholds.values, kDeadTime.values};
}

QDoubleSpinBox& box(const QWidget& dialog, const GroupRow& row, int input) {
    return control<QDoubleSpinBox>(dialog, text(row.each) + QString::number(input));
}

Four& valuesOf(InputChoice& choice, const GroupRow& row) {
    return row.title == kThresholds.title ? choice.thresholdsV : choice.deadTimesNs;
}

TEST(InputSettingsDialog, HasTwoGroupsInTheseWords) {
    const InputSettingsDialog dialog(someChoice());
    EXPECT_EQ(dialog.windowTitle(), text("Input settings"));
    EXPECT_EQ(dialog.minimumWidth(), 440);
    EXPECT_EQ(qorn::testing::groupTitles(dialog), (QStringList{text("Thresholds"), text("Dead time")}));
    EXPECT_TRUE(qorn::testing::tells(qorn::testing::group(dialog, "Thresholds"),
                                     text("Per-channel input threshold (0 - 4 V). Current values shown.")));
    const QGroupBox& deadTime = qorn::testing::group(dialog, "Dead time");
    EXPECT_TRUE(qorn::testing::tells(
        deadTime, text("Per-input dead time. Events on the same input inside that input's interval are "
                       "suppressed before streaming, counters, and coincidences. Set 0 ns to disable an "
                       "input's filter.")));
    EXPECT_TRUE(qorn::testing::tells(
        deadTime, text("Hardware rounds upward to whole 300 MHz TDC clock cycles (~3.333 ns).")));
}

TEST(InputSettingsDialog, EveryBoxHasItsRangeAndItsRow) {
    const InputSettingsDialog dialog(someChoice());
    for (const GroupRow& row : kGroups) {
        SCOPED_TRACE(row.title);
        const QGroupBox& group = qorn::testing::group(dialog, row.title);
        for (int input = 1; input <= 4; ++input) {
            expectRange(box(group, row, input), row.range);
            EXPECT_EQ(qorn::testing::rowLabelOf(group, box(group, row, input)),
                      QStringLiteral("IN%1").arg(input));
        }
        const auto& all = control<QDoubleSpinBox>(group, row.all);
        expectRange(all, row.range);
        EXPECT_EQ(qorn::testing::rowLabelOf(group, all), text("All channels"));
        EXPECT_EQ(control<QCheckBox>(group, row.applyToAll).text(), text("Apply to all channels"));
    }
}

TEST(InputSettingsDialog, TheCommonValueStandsAboveTheSingleOnes) {
    InputSettingsDialog dialog(someChoice());
    dialog.show();
    for (const GroupRow& row : kGroups) {
        const auto height = [&](const QWidget& widget) { return widget.mapTo(&dialog, QPoint()).y(); };
        const auto& tick = control<QCheckBox>(dialog, row.applyToAll);
        EXPECT_LE(height(tick), height(control<QDoubleSpinBox>(dialog, row.all)));
        EXPECT_LT(height(control<QDoubleSpinBox>(dialog, row.all)), height(box(dialog, row, 1)));
        EXPECT_LT(height(box(dialog, row, 1)), height(box(dialog, row, 4)));
    }
}

TEST(InputSettingsDialog, NoDeadTimeReadsOff) {
    InputChoice none;
    const InputSettingsDialog dialog(none);
    for (int input = 1; input <= 4; ++input) {
        EXPECT_EQ(box(dialog, kDeadTime, input).specialValueText(), text("Off"));
        EXPECT_EQ(box(dialog, kDeadTime, input).text(), text("Off"));
        EXPECT_EQ(box(dialog, kThresholds, input).specialValueText(), QString());
    }
    EXPECT_EQ(control<QDoubleSpinBox>(dialog, "deadTimeAll").specialValueText(), text("Off"));
    EXPECT_EQ(control<QDoubleSpinBox>(dialog, "thresholdAll").specialValueText(), QString());
}

TEST(InputSettingsDialog, BeginsWithTheCurrentValuesEachForItself) {
    const InputSettingsDialog dialog(someChoice());
    for (const GroupRow& row : kGroups) {
        EXPECT_FALSE(control<QCheckBox>(dialog, row.applyToAll).isChecked());
        for (int input = 1; input <= 4; ++input) {
            EXPECT_DOUBLE_EQ(box(dialog, row, input).value(),
                             row.values[static_cast<std::size_t>(input - 1)]);
        }
    }
    EXPECT_EQ(dialog.choice(), someChoice());
}

TEST(InputSettingsDialog, GivesWhatIsSetForEachInput) {
    InputSettingsDialog dialog({});
    InputChoice expected;
    for (const GroupRow& row : kGroups) {
        for (int input = 1; input <= 4; ++input) {
            box(dialog, row, input).setValue(0.125 * input);
            valuesOf(expected, row)[static_cast<std::size_t>(input - 1)] = 0.125 * input;
        }
    }
    EXPECT_EQ(dialog.choice(), expected);
}

TEST(InputSettingsDialog, ACommonValueIsGivenFourTimesWhileItIsTicked) {
    for (const GroupRow& row : kGroups) {
        SCOPED_TRACE(row.title);
        InputSettingsDialog dialog(someChoice());
        auto& tick = control<QCheckBox>(dialog, row.applyToAll);
        control<QDoubleSpinBox>(dialog, row.all).setValue(2.5);
        EXPECT_EQ(dialog.choice(), someChoice()); // not yet
        tick.setChecked(true);
        control<QDoubleSpinBox>(dialog, row.all).setValue(2.5);
        InputChoice expected = someChoice();
        valuesOf(expected, row) = {2.5, 2.5, 2.5, 2.5};
        EXPECT_EQ(dialog.choice(), expected);
        tick.setChecked(false);
        EXPECT_EQ(dialog.choice(), someChoice());
    }
}

TEST(InputSettingsDialog, ApplyAcceptsAndCancelAndEscapeDoNot) {
    InputSettingsDialog dialog({});
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Apply"), QDialog::Accepted);
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Cancel"), QDialog::Rejected);
    dialog.setResult(-1);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
}

} // namespace
} // namespace qorn::timetagger::gui
