#include "ClockSettingsDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QLabel>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::control;
using qorn::testing::text;
using timing::ReferenceClockSource;
using timing::ReferenceSignal;

constexpr auto kTen = ReferenceSignal::TenMegahertz;
constexpr auto kPps = ReferenceSignal::OnePps;

TEST(ClockSettingsDialog, OffersItsChoicesInTheseWords) {
    const ClockSettingsDialog dialog({}, {});
    EXPECT_EQ(dialog.windowTitle(), text("Clock settings"));
    EXPECT_EQ(qorn::testing::groupTitles(dialog), QStringList{text("Reference clock")});
    const auto& source = control<QComboBox>(dialog, "source");
    EXPECT_EQ(qorn::testing::entriesOf(source),
              (QStringList{text("Automatic"), text("Internal"), text("External 10 MHz input")}));
    EXPECT_EQ(qorn::testing::valuesOf(source), (QList<int>{0, 1, 2}));
    EXPECT_EQ(source.toolTip(), text("Select the clock source used as the measurement timebase."));
    EXPECT_EQ(qorn::testing::rowLabelOf(dialog, source), text("Source"));
    const auto& output = control<QComboBox>(dialog, "output");
    EXPECT_EQ(qorn::testing::entriesOf(output), (QStringList{text("10 MHz"), text("1 PPS")}));
    EXPECT_EQ(output.toolTip(), text("Select the reference signal emitted by the clock output."));
    EXPECT_EQ(qorn::testing::rowLabelOf(dialog, output), text("Output"));
    EXPECT_FALSE(source.isEditable());
    EXPECT_FALSE(output.isEditable());
}

TEST(ClockSettingsDialog, BeginsWithTheWishOfBefore) {
    for (int source = 0; source < 3; ++source) {
        for (const ReferenceSignal signal : {kTen, kPps}) {
            const ClockWish wish{static_cast<ReferenceClockSource>(source), signal};
            const ClockSettingsDialog dialog(wish, {});
            EXPECT_EQ(control<QComboBox>(dialog, "source").currentData().toInt(), source);
            EXPECT_EQ(control<QComboBox>(dialog, "output").currentText(),
                      signal == kPps ? text("1 PPS") : text("10 MHz"));
            EXPECT_EQ(dialog.wish(), wish);
        }
    }
}

TEST(ClockSettingsDialog, GivesTheWishThatItsBoxesShow) {
    ClockSettingsDialog dialog({}, {});
    for (int source = 0; source < 3; ++source) {
        for (int output = 0; output < 2; ++output) {
            control<QComboBox>(dialog, "source").setCurrentIndex(source);
            control<QComboBox>(dialog, "output").setCurrentIndex(output);
            EXPECT_EQ(dialog.wish(),
                      (ClockWish{static_cast<ReferenceClockSource>(source), output == 1 ? kPps : kTen}));
        }
    }
}

TEST(ClockSettingsDialog, TheMode6OfTheSettingsIsExternalWithOnePulsePerSecond) {
    const ClockSettingsDialog dialog(ClockWish::fromMode(6), {});
    EXPECT_EQ(control<QComboBox>(dialog, "source").currentText(), text("External 10 MHz input"));
    EXPECT_EQ(control<QComboBox>(dialog, "output").currentText(), text("1 PPS"));
}

TEST(ClockSettingsDialog, AMutedLineTellsTheCurrentState) {
    struct Row {
        int active;
        int signal;
        const char* line;
    };
    for (const Row& row :
         {Row{1, 0, "Current: Internal source, 10 MHz output"},
          Row{1, 1, "Current: Internal source, 1 PPS output"},
          Row{2, 0, "Current: External source, 10 MHz output"},
          Row{2, 1, "Current: External source, 1 PPS output"},
          Row{0, 0, "Current: Auto source, 10 MHz output"}, Row{0, 1, "Current: Auto source, 1 PPS output"},
          Row{3, 2, "Current: Auto source, 10 MHz output"}}) {
        UiClockStatus status;
        status.requestedSource =
            row.active == 1 ? ReferenceClockSource::External : ReferenceClockSource::Internal;
        status.activeSource = static_cast<ReferenceClockSource>(row.active);
        status.outputSignal = static_cast<ReferenceSignal>(row.signal);
        const ClockSettingsDialog dialog({}, status);
        EXPECT_EQ(control<QLabel>(dialog, "current").text(), text(row.line));
        EXPECT_TRUE(qorn::testing::tellsMuted(dialog, text(row.line))) << row.line;
    }
}

TEST(ClockSettingsDialog, ApplyAcceptsAndCancelAndEscapeDoNot) {
    ClockSettingsDialog dialog({}, {});
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Apply"), QDialog::Accepted);
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Cancel"), QDialog::Rejected);
    dialog.setResult(-1);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
}

} // namespace
} // namespace qorn::timetagger::gui
