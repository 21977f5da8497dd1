#include "DeveloperSettingsDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::control;
using qorn::testing::group;
using qorn::testing::rowLabelOf;
using qorn::testing::text;
using qorn::testing::texts;

QCheckBox& tdl(const QWidget& dialog, int input, int line) {
    return control<QCheckBox>(dialog, QStringLiteral("tdl%1%2").arg(input).arg(line));
}

const QWidget& page(const QWidget& dialog, int index) {
    return *control<QTabWidget>(dialog, "pages").widget(index);
}

std::array<unsigned char, 4> tickedLines(const QWidget& dialog) {
    std::array<unsigned char, 4> masks{};
    for (int input = 1; input <= 4; ++input) {
        for (int line = 1; line <= 3; ++line) {
            if (tdl(dialog, input, line).isChecked()) {
                masks[static_cast<std::size_t>(input - 1)] |= static_cast<unsigned char>(1 << (line - 1));
            }
        }
    }
    return masks;
}

TEST(DeveloperSettingsDialog, HasThreePagesInTheirOrder) {
    const DeveloperSettingsDialog dialog({}, {});
    EXPECT_EQ(dialog.windowTitle(), text("Developer settings"));
    const auto& pages = control<QTabWidget>(dialog, "pages");
    ASSERT_EQ(pages.count(), 3);
    EXPECT_EQ(pages.tabText(0), text("General"));
    EXPECT_EQ(pages.tabText(1), text("Streaming"));
    EXPECT_EQ(pages.tabText(2), text("Calibration"));
    EXPECT_EQ(pages.currentIndex(), 0);
}

TEST(DeveloperSettingsDialog, TellsOfTheDelayLinesInTheseWords) {
    const DeveloperSettingsDialog dialog({}, {});
    const QGroupBox& lines = group(page(dialog, 0), "Active TDLs per channel");
    EXPECT_TRUE(qorn::testing::tells(
        lines, text("Enable or disable individual tapped-delay-lines per channel. Active TDLs are averaged "
                    "together; the firmware keeps at least one active per channel.")));
    for (const char* heading : {"TDL1", "TDL2", "TDL3", "Channel 1", "Channel 2", "Channel 3", "Channel 4"}) {
        EXPECT_TRUE(qorn::testing::tells(lines, text(heading))) << heading;
    }
    const auto& all = control<QCheckBox>(page(dialog, 0), "selectAll");
    EXPECT_EQ(all.text(), text("Enable all TDLs"));
    EXPECT_EQ(rowLabelOf(dialog, all), text("Select all / unselect all"));
    EXPECT_TRUE(qorn::testing::tells(page(dialog, 0),
                                     text("Use all implemented calibrated TDLs on every input channel.")));
}

TEST(DeveloperSettingsDialog, TheGridStandsInRowsOfInputsAndColumnsOfLines) {
    DeveloperSettingsDialog dialog({}, {});
    dialog.show();
    const auto place = [&](int input, int line) { return tdl(dialog, input, line).mapTo(&dialog, QPoint()); };
    for (int input = 1; input <= 4; ++input) {
        EXPECT_LT(place(input, 1).x(), place(input, 2).x());
        EXPECT_LT(place(input, 2).x(), place(input, 3).x());
        EXPECT_EQ(place(input, 1).y(), place(input, 3).y());
    }
    EXPECT_LT(place(1, 1).y(), place(2, 1).y());
    EXPECT_LT(place(3, 1).y(), place(4, 1).y());
}

TEST(DeveloperSettingsDialog, TicksTheActiveLinesAndGivesThemBack) {
    using Masks = std::array<unsigned char, 4>;
    for (const Masks& masks : {Masks{7, 7, 7, 7}, Masks{0, 0, 0, 0}, Masks{1, 2, 4, 5}, Masks{6, 3, 0, 7}}) {
        DeveloperSettings settings;
        settings.tdlMasks = masks;
        const DeveloperSettingsDialog dialog(settings, {});
        EXPECT_EQ(tickedLines(dialog), masks);
        EXPECT_EQ(dialog.settings(), settings);
    }
    DeveloperSettings odd;
    odd.tdlMasks = {0xF9, 0x80, 0x0F, 7};
    EXPECT_EQ(tickedLines(DeveloperSettingsDialog(odd, {})), (std::array<unsigned char, 4>{1, 0, 7, 7}));
}

TEST(DeveloperSettingsDialog, EachTickIsItsOwnLine) {
    DeveloperSettings settings;
    settings.tdlMasks = {};
    for (int input = 1; input <= 4; ++input) {
        for (int line = 1; line <= 3; ++line) {
            const DeveloperSettingsDialog dialog(settings, {});
            tdl(dialog, input, line).setChecked(true);
            std::array<unsigned char, 4> expected{};
            expected[static_cast<std::size_t>(input - 1)] = static_cast<unsigned char>(1 << (line - 1));
            EXPECT_EQ(dialog.settings().tdlMasks, expected);
        }
    }
}

TEST(DeveloperSettingsDialog, SelectAllTicksAndUnticksEveryLine) {
    DeveloperSettings settings;
    settings.tdlMasks = {1, 0, 5, 7};
    const DeveloperSettingsDialog dialog(settings, {});
    auto& all = control<QCheckBox>(dialog, "selectAll");
    EXPECT_NE(all.checkState(), Qt::Checked);
    all.click();
    EXPECT_EQ(dialog.settings().tdlMasks, (std::array<unsigned char, 4>{7, 7, 7, 7}));
    EXPECT_EQ(all.checkState(), Qt::Checked);
    all.click();
    EXPECT_EQ(dialog.settings().tdlMasks, (std::array<unsigned char, 4>{}));
    EXPECT_EQ(all.checkState(), Qt::Unchecked);
}

TEST(DeveloperSettingsDialog, OffersTheStreamFormatsInTheirOrder) {
    const DeveloperSettingsDialog dialog({}, {});
    const QGroupBox& stream = group(page(dialog, 1), "USB stream format");
    const auto& format = control<QComboBox>(stream, "streamFormat");
    EXPECT_EQ(qorn::testing::entriesOf(format),
              texts({"Packed delta (default)", "Delta32 diagnostic", "Raw64 diagnostic"}));
    EXPECT_EQ(rowLabelOf(stream, format), text("Stream format"));
}

TEST(DeveloperSettingsDialog, TheFormatIsTheIndex) {
    for (int index = 0; index < 3; ++index) {
        DeveloperSettings settings;
        settings.streamFormat = static_cast<StreamChoice>(index);
        DeveloperSettingsDialog dialog(settings, {});
        auto& format = control<QComboBox>(dialog, "streamFormat");
        EXPECT_EQ(format.currentIndex(), index);
        EXPECT_EQ(dialog.settings(), settings);
        format.setCurrentIndex((index + 1) % 3);
        EXPECT_EQ(dialog.settings().streamFormat, static_cast<StreamChoice>((index + 1) % 3));
    }
}

TEST(DeveloperSettingsDialog, BitsAndQuantumAreShownAndFixed) {
    const DeveloperSettingsDialog dialog({}, {});
    const QGroupBox& stream = group(page(dialog, 1), "USB stream format");
    const QWidget& bits = control<QWidget>(stream, "packedDeltaBits");
    EXPECT_FALSE(bits.isEnabledTo(&dialog));
    EXPECT_EQ(rowLabelOf(stream, bits), text("Packed delta bits"));
    EXPECT_EQ(control<QSpinBox>(stream, "packedDeltaBits").value(), 16);
    const QWidget& quantum = control<QWidget>(stream, "deltaQuantum");
    EXPECT_FALSE(quantum.isEnabledTo(&dialog));
    EXPECT_EQ(rowLabelOf(stream, quantum), text("Delta quantum"));
    const auto* box = qobject_cast<const QComboBox*>(&quantum);
    const auto* line = qobject_cast<const QLineEdit*>(&quantum);
    const auto* spin = qobject_cast<const QSpinBox*>(&quantum);
    const QString shown = box ? box->currentText() : line ? line->text() : spin ? spin->text() : QString();
    EXPECT_EQ(shown, text("8 ps"));
}

TEST(DeveloperSettingsDialog, TheTestSourceHasItsRateOnlyWithItsBox) {
    const DeveloperSettingsDialog dialog({}, {});
    const QGroupBox& source = group(page(dialog, 1), "Internal test source");
    auto& on = control<QCheckBox>(source, "internalSource");
    auto& rate = control<QDoubleSpinBox>(source, "internalRate");
    EXPECT_EQ(on.text(), text("Use internal calibration generator for experiments"));
    EXPECT_EQ(rowLabelOf(source, rate), text("Internal rate"));
    qorn::testing::expectRange(rate, {0.1, 10000.0, 1, 10.0, " kHz"});
    EXPECT_TRUE(qorn::testing::tells(source, text("Developer-only source for calibration/debug captures. "
                                                  "Customer measurements should use real external inputs.")));
    EXPECT_FALSE(on.isChecked());
    EXPECT_FALSE(rate.isEnabledTo(&dialog));
    EXPECT_EQ(rate.value(), 10.0);
    on.setChecked(true);
    EXPECT_TRUE(rate.isEnabledTo(&dialog));
    rate.setValue(123.4);
    EXPECT_TRUE(dialog.settings().internalSource);
    EXPECT_DOUBLE_EQ(dialog.settings().internalRateKhz, 123.4);
    on.setChecked(false);
    EXPECT_FALSE(rate.isEnabledTo(&dialog));
    EXPECT_FALSE(dialog.settings().internalSource);
}

TEST(DeveloperSettingsDialog, BeginsWithTheTestSourceOfBefore) {
    DeveloperSettings settings;
    settings.internalSource = true;
    settings.internalRateKhz = 250.5;
    const DeveloperSettingsDialog dialog(settings, {});
    EXPECT_TRUE(control<QCheckBox>(dialog, "internalSource").isChecked());
    EXPECT_TRUE(control<QDoubleSpinBox>(dialog, "internalRate").isEnabledTo(&dialog));
    EXPECT_EQ(dialog.settings(), settings);
}

TEST(DeveloperSettingsDialog, ItsCalibrationNumbersHaveTheirRangesAndRows) {
    const DeveloperSettingsDialog dialog({}, {});
    const QWidget& calibration = page(dialog, 2);
    EXPECT_TRUE(qorn::testing::tells(
        calibration, text("Developer calibration quality controls. Longer capture time collects more "
                          "fine-code statistics and usually gives smoother LUTs.")));
    const auto& duration = control<QDoubleSpinBox>(calibration, "duration");
    qorn::testing::expectRange(duration, {0.05, 30.0, 2, 0.05, " s"});
    EXPECT_EQ(rowLabelOf(calibration, duration), text("Duration per TDL"));
    EXPECT_EQ(duration.value(), 0.1);
    const auto& rate = control<QDoubleSpinBox>(calibration, "rate");
    qorn::testing::expectRange(rate, {1.0, 1000.0, 1, 10.0, " kHz"});
    EXPECT_EQ(rowLabelOf(calibration, rate), text("Calibration rate"));
    EXPECT_EQ(rate.value(), 100.0);
    const auto& steps = control<QSpinBox>(calibration, "steps");
    EXPECT_EQ(steps.minimum(), 1);
    EXPECT_EQ(steps.maximum(), 96);
    EXPECT_EQ(rowLabelOf(calibration, steps), text("Frequency steps"));
    EXPECT_EQ(steps.value(), 72);
}

TEST(DeveloperSettingsDialog, GivesTheCalibrationNumbersBack) {
    DeveloperSettings settings;
    settings.calibration = {1.25, 33.5, 5};
    const DeveloperSettingsDialog dialog(settings, {});
    EXPECT_EQ(dialog.settings(), settings);
    control<QDoubleSpinBox>(dialog, "duration").setValue(0.05);
    control<QDoubleSpinBox>(dialog, "rate").setValue(1000.0);
    control<QSpinBox>(dialog, "steps").setValue(96);
    EXPECT_EQ(dialog.settings().calibration, (CalibrationSettings{0.05, 1000.0, 96}));
}

TEST(DeveloperSettingsDialog, NamesTheSavedFile) {
    const DeveloperSettingsDialog dialog({}, text("/data/saved.cal"));
    const QGroupBox& upload = group(page(dialog, 2), "FPGA upload");
    const QWidget& file = control<QWidget>(upload, "savedFile");
    const auto* label = qobject_cast<const QLabel*>(&file);
    const auto* field = qobject_cast<const QLineEdit*>(&file);
    EXPECT_EQ(label ? label->text() : field ? field->text() : QString(), text("/data/saved.cal"));
    EXPECT_EQ(rowLabelOf(upload, file), text("Saved file"));
    EXPECT_EQ(control<QPushButton>(upload, "uploadSaved").text(), text("Upload saved calibration"));
    EXPECT_EQ(control<QPushButton>(upload, "uploadFile").text(), text("Upload calibration file..."));
}

TEST(DeveloperSettingsDialog, UploadingTheSavedFileClosesItAtOnce) {
    DeveloperSettingsDialog dialog({}, text("/data/saved.cal"));
    EXPECT_EQ(dialog.upload(), CalibrationUpload::None);
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Upload saved calibration"), QDialog::Rejected);
    EXPECT_EQ(dialog.upload(), CalibrationUpload::Saved);
}

TEST(DeveloperSettingsDialog, UploadingAFileAsksForIt) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(text("some.cal"));
    QFile(path).open(QIODevice::WriteOnly);
    DeveloperSettingsDialog dialog({}, {});
    qorn::testing::withFileDialog(
        [&](QFileDialog& files) { qorn::testing::choose(files, path); },
        [&] {
            EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Upload calibration file..."), QDialog::Rejected);
        });
    EXPECT_EQ(dialog.upload(), CalibrationUpload::File);
    EXPECT_EQ(dialog.filePath(), path);
}

TEST(DeveloperSettingsDialog, ApplyAcceptsAndCancelAndEscapeDoNot) {
    DeveloperSettingsDialog dialog({}, {});
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Apply"), QDialog::Accepted);
    EXPECT_EQ(dialog.upload(), CalibrationUpload::None);
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Cancel"), QDialog::Rejected);
    dialog.setResult(-1);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_EQ(dialog.upload(), CalibrationUpload::None);
}

TEST(InputsWithOneTdl, AreTheOnesWithExactlyOneBit) {
    struct Row {
        std::array<unsigned char, 4> masks;
        QList<int> inputs;
    };
    for (const Row& row : {Row{{7, 7, 7, 7}, {}}, Row{{1, 2, 4, 7}, {1, 2, 3}}, Row{{0, 0, 0, 0}, {}},
                           Row{{3, 5, 6, 4}, {4}}, Row{{1, 1, 1, 1}, {1, 2, 3, 4}}, Row{{0, 2, 0, 0}, {2}}}) {
        EXPECT_EQ(inputsWithOneTdl(row.masks), row.inputs);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
