#include "CalibrationDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using Action = CalibrationDialog::Action;
using qorn::testing::control;
using qorn::testing::text;

// The text of a label or of a field to read only.
QString shownBy(const QWidget& widget) {
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        return label->text();
    }
    const auto* field = qobject_cast<const QLineEdit*>(&widget);
    return field == nullptr ? QString() : field->text();
}

TEST(CalibrationDialog, HasTwoGroupsInTheseWords) {
    const CalibrationDialog dialog({}, text("/data/saved.cal"));
    EXPECT_EQ(dialog.windowTitle(), text("Calibration"));
    EXPECT_EQ(dialog.size(), QSize(560, 360));
    EXPECT_EQ(qorn::testing::groupTitles(dialog),
              (QStringList{text("Saved calibration"), text("New calibration")}));
    const QGroupBox& saved = qorn::testing::group(dialog, "Saved calibration");
    const QWidget& path = control<QWidget>(saved, "savedFile");
    EXPECT_EQ(shownBy(path), text("/data/saved.cal"));
    EXPECT_EQ(qorn::testing::rowLabelOf(saved, path), text("File"));
}

TEST(CalibrationDialog, ItsNumbersHaveTheirRangesAndRows) {
    const CalibrationDialog dialog({}, {});
    const QGroupBox& fresh = qorn::testing::group(dialog, "New calibration");
    const auto& duration = control<QDoubleSpinBox>(fresh, "duration");
    EXPECT_EQ(qorn::testing::rowLabelOf(fresh, duration), text("Duration per sweep"));
    EXPECT_EQ(duration.minimum(), 0.05);
    EXPECT_EQ(duration.maximum(), 30.0);
    EXPECT_EQ(duration.singleStep(), 0.05);
    EXPECT_EQ(duration.suffix(), text(" s"));
    EXPECT_GE(duration.decimals(), 2);
    const auto& rate = control<QDoubleSpinBox>(fresh, "rate");
    EXPECT_EQ(qorn::testing::rowLabelOf(fresh, rate), text("Signal rate"));
    EXPECT_EQ(rate.minimum(), 1.0);
    EXPECT_EQ(rate.maximum(), 1000.0);
    EXPECT_EQ(rate.singleStep(), 10.0);
    EXPECT_EQ(rate.suffix(), text(" kHz"));
    const auto& steps = control<QSpinBox>(fresh, "steps");
    EXPECT_EQ(qorn::testing::rowLabelOf(fresh, steps), text("Frequency steps"));
    EXPECT_EQ(steps.minimum(), 1);
    EXPECT_EQ(steps.maximum(), 96);
    EXPECT_EQ(qorn::testing::rowLabelOf(fresh, control<QLabel>(fresh, "estimate")), text("Estimate"));
}

TEST(CalibrationDialog, BeginsWithItsDefaultsAndTheirEstimate) {
    const CalibrationDialog dialog({}, {});
    EXPECT_EQ(control<QDoubleSpinBox>(dialog, "duration").value(), 0.1);
    EXPECT_EQ(control<QDoubleSpinBox>(dialog, "rate").value(), 100.0);
    EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 72);
    EXPECT_EQ(control<QLabel>(dialog, "estimate").text(),
              text("10000 samples per sweep, 72 frequency steps"));
}

TEST(CalibrationDialog, BeginsWithTheSettingsOfBefore) {
    const CalibrationSettings before{2.5, 250.0, 12};
    const CalibrationDialog dialog(before, {});
    EXPECT_EQ(dialog.settings(), before);
    EXPECT_EQ(control<QLabel>(dialog, "estimate").text(),
              text("625000 samples per sweep, 12 frequency steps"));
}

TEST(CalibrationDialog, TheEstimateFollowsEachOfTheThree) {
    CalibrationDialog dialog({}, {});
    const auto& estimate = control<QLabel>(dialog, "estimate");
    control<QDoubleSpinBox>(dialog, "duration").setValue(0.05);
    EXPECT_EQ(estimate.text(), text("5000 samples per sweep, 72 frequency steps"));
    control<QDoubleSpinBox>(dialog, "rate").setValue(1.0);
    EXPECT_EQ(estimate.text(), text("50 samples per sweep, 72 frequency steps"));
    control<QSpinBox>(dialog, "steps").setValue(1);
    EXPECT_EQ(estimate.text(), text("50 samples per sweep, 1 frequency steps"));
    control<QDoubleSpinBox>(dialog, "duration").setValue(30.0);
    control<QDoubleSpinBox>(dialog, "rate").setValue(1000.0);
    EXPECT_EQ(estimate.text(), text("30000000 samples per sweep, 1 frequency steps"));
    EXPECT_EQ(dialog.settings(), (CalibrationSettings{30.0, 1000.0, 1}));
}

TEST(CalibrationSettings, SamplesAreRateTimesDurationRoundedAndAtLeastOne) {
    struct Row {
        CalibrationSettings settings;
        unsigned long samples;
        double hz;
    };
    for (const Row& row :
         {Row{{0.1, 100.0, 72}, 10000, 100000.0}, Row{{0.05, 1.0, 1}, 50, 1000.0},
          Row{{0.0, 1.0, 1}, 50, 1000.0}, Row{{-1.0, 100.0, 1}, 5000, 100000.0}, Row{{0.05, 0.0, 1}, 1, 1.0},
          Row{{30.0, 0.0, 1}, 30, 1.0}, Row{{0.15, 33.3, 1}, 4995, 33300.0}, Row{{0.07, 0.11, 1}, 8, 110.0},
          Row{{30.0, 1000.0, 96}, 30000000, 1000000.0}}) {
        EXPECT_EQ(samplesPerSweep(row.settings), row.samples)
            << row.settings.durationSeconds << " s, " << row.settings.rateKhz << " kHz";
        EXPECT_DOUBLE_EQ(generatorHz(row.settings), row.hz);
    }
}

TEST(CalibrationDialog, EachButtonAcceptsWithItsAction) {
    struct Row {
        const char* name;
        const char* label;
        Action action;
    };
    for (const Row& row : {Row{"uploadSaved", "Upload saved", Action::UploadSaved},
                           Row{"start", "Start calibration", Action::Start}}) {
        CalibrationDialog dialog({}, text("/data/saved.cal"));
        EXPECT_EQ(dialog.action(), Action::None);
        EXPECT_EQ(control<QPushButton>(dialog, row.name).text(), text(row.label));
        EXPECT_EQ(qorn::testing::resultOfClick(dialog, row.label), QDialog::Accepted);
        EXPECT_EQ(dialog.action(), row.action) << row.label;
    }
}

TEST(CalibrationDialog, CloseAndEscapeDoNothing) {
    CalibrationDialog dialog({}, {});
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Close"), QDialog::Rejected);
    dialog.setResult(-1);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_EQ(dialog.action(), Action::None);
}

TEST(CalibrationDialog, AFileIsAskedForInTheseWordsAndAcceptsTheDialog) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(text("some.cal"));
    QFile(path).open(QIODevice::WriteOnly);
    CalibrationDialog dialog({}, {});
    EXPECT_EQ(control<QPushButton>(dialog, "uploadFile").text(), text("Upload from file..."));
    int asked = 0;
    qorn::testing::withFileDialog(
        [&](QFileDialog& files) {
            ++asked;
            EXPECT_EQ(files.windowTitle(), text("Select calibration file"));
            EXPECT_EQ(files.nameFilters(),
                      (QStringList{text("Qorn calibration (*.cal)"), text("All files (*)")}));
            EXPECT_EQ(files.acceptMode(), QFileDialog::AcceptOpen);
            qorn::testing::choose(files, path);
        },
        [&] { EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Upload from file..."), QDialog::Accepted); });
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(dialog.action(), Action::UploadFile);
    EXPECT_EQ(dialog.filePath(), path);
}

TEST(CalibrationDialog, NoFileKeepsTheDialogOpen) {
    CalibrationDialog dialog({}, {});
    dialog.show();
    int asked = 0;
    qorn::testing::withFileDialog(
        [&](QFileDialog& files) {
            ++asked;
            files.reject();
        },
        [&] { qorn::testing::click(dialog, "Upload from file..."); });
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(dialog.action(), Action::None);
    EXPECT_EQ(dialog.filePath(), QString());
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Start calibration"), QDialog::Accepted);
    EXPECT_EQ(dialog.action(), Action::Start);
}

} // namespace
} // namespace qorn::timetagger::gui
