#include "CalibrationProgressDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::text;

TEST(CalibrationProgressDialog, IsAWindowModalBarThatNeverClosesByItself) {
    const CalibrationProgressDialog dialog;
    EXPECT_EQ(dialog.windowTitle(), text("Calibration"));
    EXPECT_EQ(dialog.minimum(), 0);
    EXPECT_EQ(dialog.maximum(), 100);
    EXPECT_EQ(dialog.windowModality(), Qt::WindowModal);
    EXPECT_EQ(dialog.minimumDuration(), 0);
    EXPECT_FALSE(dialog.autoClose());
    EXPECT_FALSE(dialog.autoReset());
    EXPECT_EQ(dialog.labelText(), text("Calibrating device..."));
    EXPECT_FALSE(dialog.isVisible());
}

TEST(CalibrationProgressDialog, EachStartShowsItFromTheBeginning) {
    CalibrationProgressDialog dialog;
    for (int start = 0; start < 2; ++start) {
        dialog.begin();
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(dialog.value(), 0);
        EXPECT_EQ(dialog.minimum(), 0);
        EXPECT_EQ(dialog.maximum(), 100);
        EXPECT_EQ(dialog.labelText(), text("Starting calibration sweep..."));
        const auto* button = dialog.findChild<QPushButton*>();
        ASSERT_NE(button, nullptr);
        EXPECT_EQ(button->text(), text("Stop"));
        dialog.showProgress(60, text("Calibrating stage 2 of 3..."));
        dialog.hide();
    }
}

TEST(CalibrationProgressDialog, ShowsPercentAndTextAndStaysAtTheEnd) {
    CalibrationProgressDialog dialog;
    dialog.begin();
    for (const int percent : {1, 50, 99, 100}) {
        const QString what = QStringLiteral("Calibrating stage %1 of 3...").arg(percent);
        dialog.showProgress(percent, what);
        EXPECT_EQ(dialog.value(), percent);
        EXPECT_EQ(dialog.labelText(), what);
        EXPECT_TRUE(dialog.isVisible()) << percent;
    }
}

TEST(CalibrationProgressDialog, StopAsksAndTheDialogStays) {
    CalibrationProgressDialog dialog;
    QSignalSpy asked(&dialog, &CalibrationProgressDialog::stopRequested);
    dialog.begin();
    qorn::testing::click(dialog, "Stop");
    EXPECT_EQ(asked.size(), 1);
    EXPECT_TRUE(dialog.isVisible());
    dialog.showProgress(70, text("Calibrating stage 3 of 3..."));
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(dialog.value(), 70);
}

TEST(CalibrationProgressDialog, EscapeAndClosingAskToo) {
    CalibrationProgressDialog dialog;
    QSignalSpy asked(&dialog, &CalibrationProgressDialog::stopRequested);
    dialog.begin();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(asked.size(), 1);
    EXPECT_TRUE(dialog.isVisible());
    dialog.hide();
    dialog.begin();
    dialog.close();
    EXPECT_EQ(asked.size(), 2);
    EXPECT_TRUE(dialog.isVisible());
}

} // namespace
} // namespace qorn::timetagger::gui
