#include "PlotSettingsDialog.h"

#include "ProbeTab.h"
#include "QtPrinting.h"
#include "StoredSettings.h"
#include "TabControls.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ProbeTab;
using qorn::testing::texts;

PlotAndSaveSettings someSettings() {
    PlotAndSaveSettings some;
    some.look = {QStringLiteral("Bright"), 14, 2.5, Qt::DashDotLine};
    some.saving.logDirectory = QStringLiteral("/data/logs");
    some.saving.logFormat = LogFormat::PackedBinary;
    some.saving.logRotateSeconds = 60;
    some.saving.logMaximumDurationSeconds = 7200;
    some.saving.timeTagsEnabled = true;
    some.saving.timeTagsDirectory = QStringLiteral("/data/tags");
    some.saving.timeTagsRotateSeconds = 0;
    some.saving.timeTagsMaximumDurationSeconds = 0;
    return some;
}

template <typename Control>
Control& control(const QWidget& dialog, const char* name) {
    auto* found = dialog.findChild<Control*>(QString::fromLatin1(name));
    if (found == nullptr) {
        throw std::runtime_error(std::string("no control ") + name);
    }
    return *found;
}

QStringList itemsOf(const QComboBox& box) {
    QStringList items;
    for (int index = 0; index < box.count(); ++index) {
        items.append(box.itemText(index));
    }
    return items;
}

bool sameSettings(const PlotAndSaveSettings& a, const PlotAndSaveSettings& b) {
    return a.look == b.look && a.saving.toJson() == b.saving.toJson();
}

TEST(PlotSettingsDialog, GivesBackWhatItWasGiven) {
    const PlotSettingsDialog dialog(someSettings(), {});
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Plot and Save Settings"));
    EXPECT_TRUE(sameSettings(dialog.settings(), someSettings()));
}

TEST(PlotSettingsDialog, IsLowerThanASmallScreen) {
    PlotSettingsDialog dialog(someSettings(), {});
    dialog.show();
    EXPECT_LE(dialog.height(), 600);
}

TEST(PlotSettingsDialog, OffersTheChoicesAndRanges) {
    const PlotSettingsDialog dialog(someSettings(), {});
    EXPECT_EQ(itemsOf(control<QComboBox>(dialog, "colorScheme")),
              texts({"Default", "Dark", "Bright", "High contrast", "Classic"}));
    EXPECT_EQ(itemsOf(control<QComboBox>(dialog, "lineStyle")),
              texts({"solid", "- - dashed", ". dotted", "-. dash-dot", "-.. dash-dot-dot"}));
    EXPECT_EQ(itemsOf(control<QComboBox>(dialog, "logFormat")), texts({"CSV", "Packed binary"}));
    const auto& font = control<QSpinBox>(dialog, "fontSize");
    EXPECT_EQ(std::pair(font.minimum(), font.maximum()), std::pair(7, 28));
    EXPECT_EQ(font.suffix(), QStringLiteral(" pt"));
    const auto& width = control<QDoubleSpinBox>(dialog, "lineWidth");
    EXPECT_EQ(std::pair(width.minimum(), width.maximum()), std::pair(0.5, 8.0));
    EXPECT_EQ(width.singleStep(), 0.25);
    EXPECT_EQ(width.decimals(), 1);
    EXPECT_EQ(width.suffix(), QStringLiteral(" pt"));
    for (const char* name : {"logRotate", "recordingRotate"}) {
        const auto& rotate = control<QSpinBox>(dialog, name);
        EXPECT_EQ(std::pair(rotate.minimum(), rotate.maximum()), std::pair(0, 604800)) << name;
        EXPECT_EQ(rotate.specialValueText(), QStringLiteral("Off")) << name;
    }
    for (const char* name : {"logMaximum", "recordingMaximum"}) {
        const auto& maximum = control<QSpinBox>(dialog, name);
        EXPECT_EQ(std::pair(maximum.minimum(), maximum.maximum()), std::pair(1, 604800)) << name;
    }
    EXPECT_EQ(control<QCheckBox>(dialog, "logLimited").text(), QStringLiteral("Limit log duration"));
    EXPECT_EQ(control<QCheckBox>(dialog, "recordingLimited").text(),
              QStringLiteral("Limit recording duration"));
}

TEST(PlotSettingsDialog, AThemesOwnSchemeStaysUnlessAnotherIsChosen) {
    PlotAndSaveSettings initial = someSettings();
    initial.look.colorScheme = QStringLiteral("Dark Modern");
    PlotSettingsDialog dialog(initial, {});
    EXPECT_EQ(control<QComboBox>(dialog, "colorScheme").currentText(), QStringLiteral("Dark Modern"));
    EXPECT_EQ(dialog.settings().look.colorScheme, QStringLiteral("Dark Modern"));
    control<QComboBox>(dialog, "colorScheme").setCurrentIndex(4);
    EXPECT_EQ(dialog.settings().look.colorScheme, QStringLiteral("Classic"));
}

TEST(PlotSettingsDialog, TheLineStylesAreQtsFromTheSolidOneOn) {
    PlotSettingsDialog dialog(someSettings(), {});
    const Qt::PenStyle styles[] = {Qt::SolidLine, Qt::DashLine, Qt::DotLine, Qt::DashDotLine,
                                   Qt::DashDotDotLine};
    for (int index = 0; index < 5; ++index) {
        control<QComboBox>(dialog, "lineStyle").setCurrentIndex(index);
        EXPECT_EQ(dialog.settings().look.penStyle, styles[index]);
    }
}

TEST(PlotSettingsDialog, ALimitCountsOnlyWithItsCheck) {
    PlotSettingsDialog dialog(someSettings(), {});
    auto& limited = control<QCheckBox>(dialog, "logLimited");
    auto& maximum = control<QSpinBox>(dialog, "logMaximum");
    EXPECT_TRUE(limited.isChecked());
    EXPECT_TRUE(maximum.isEnabled());
    EXPECT_EQ(maximum.value(), 7200);
    limited.setChecked(false);
    EXPECT_FALSE(maximum.isEnabled());
    EXPECT_EQ(dialog.settings().saving.logMaximumDurationSeconds, 0);

    auto& recording = control<QCheckBox>(dialog, "recordingLimited");
    EXPECT_FALSE(recording.isChecked());
    EXPECT_FALSE(control<QSpinBox>(dialog, "recordingMaximum").isEnabled());
    recording.setChecked(true);
    control<QSpinBox>(dialog, "recordingMaximum").setValue(5);
    EXPECT_EQ(dialog.settings().saving.timeTagsMaximumDurationSeconds, 5);
}

TEST(PlotSettingsDialog, WithoutAFolderItWarnsAndStaysOpen) {
    const std::pair<const char*, const char*> rows[] = {
        {"logFolder", "Select a log folder first."},
        {"recordingFolder", "Select a time-tag output folder first."}};
    for (const auto& [name, text] : rows) {
        PlotSettingsDialog dialog(someSettings(), {});
        dialog.show();
        control<QLineEdit>(dialog, name).setText(QStringLiteral("  "));
        dialog.accept();
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr) << name;
        EXPECT_EQ(box->text(), QString::fromLatin1(text));
        box->accept();
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(dialog.result(), 0);
    }
}

TEST(PlotSettingsDialog, WhatATabLacksIsNotAskedForAndStaysAsItWas) {
    PlotAndSaveSettings bare = someSettings();
    bare.saving.logDirectory.clear();
    bare.saving.timeTagsDirectory.clear();
    PlotSettingsDialog dialog(bare, {false, false});
    for (const char* name : {"logFolder", "recordingFolder"}) {
        EXPECT_EQ(dialog.findChild<QLineEdit*>(QString::fromLatin1(name)), nullptr) << name;
    }
    dialog.accept();
    EXPECT_EQ(dialog.result(), int(QDialog::Accepted));
    EXPECT_TRUE(sameSettings(dialog.settings(), bare));
}

TEST(PlotSettingsDialog, BrowsingAsksForAFolder) {
    const QTemporaryDir folder;
    const std::pair<const char*, const char*> rows[] = {{"log", "Select data-log folder"},
                                                        {"recording", "Select time-tag output folder"}};
    for (const auto& [group, title] : rows) {
        PlotAndSaveSettings initial = someSettings();
        initial.saving.logDirectory = initial.saving.timeTagsDirectory = QDir::homePath();
        PlotSettingsDialog dialog(initial, {});
        dialog.show();
        control<QPushButton>(dialog, (std::string(group) + "Browse").c_str()).click();
        auto* files = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(files, nullptr) << group;
        EXPECT_EQ(files->windowTitle(), QString::fromLatin1(title));
        EXPECT_EQ(files->fileMode(), QFileDialog::Directory);
        files->selectFile(folder.path());
        QMetaObject::invokeMethod(files, "accept");
        EXPECT_EQ(control<QLineEdit>(dialog, (std::string(group) + "Folder").c_str()).text(), folder.path());
    }
}

// --- from a tab -----------------------------------------------------------------------------------------

class TabPlotSettings : public ::testing::Test {
protected:
    TabPlotSettings() {
        testing::storedSettings().remove(QStringLiteral("measurement"));
        tab.buildColumn();
        tab.show();
    }

    PlotSettingsDialog& open() {
        tab.showPlotSettings();
        auto* dialog = qobject_cast<PlotSettingsDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            throw std::runtime_error("no dialog");
        }
        return *dialog;
    }

    ProbeTab tab;
};

TEST_F(TabPlotSettings, SavingChangesThePlotAndTheStoredSettings) {
    PlotSettingsDialog& dialog = open();
    control<QComboBox>(dialog, "colorScheme").setCurrentIndex(3);
    control<QSpinBox>(dialog, "fontSize").setValue(17);
    control<QDoubleSpinBox>(dialog, "lineWidth").setValue(3.5);
    control<QComboBox>(dialog, "lineStyle").setCurrentIndex(2);
    control<QLineEdit>(dialog, "logFolder").setText(QStringLiteral("/tmp/logs"));
    control<QComboBox>(dialog, "logFormat").setCurrentIndex(1);
    control<QSpinBox>(dialog, "logRotate").setValue(11);
    control<QLineEdit>(dialog, "recordingFolder").setText(QStringLiteral("/tmp/tags"));
    control<QSpinBox>(dialog, "recordingRotate").setValue(12);
    control<QCheckBox>(dialog, "recordingLimited").setChecked(true);
    control<QSpinBox>(dialog, "recordingMaximum").setValue(13);
    dialog.accept();
    EXPECT_EQ(tab.plotWidget()->plotOptions(),
              (PlotOptions{QStringLiteral("High contrast"), 17, 3.5, Qt::DotLine}));
    const QSettings stored = testing::storedSettings();
    const auto value = [&](const char* key) {
        return stored.value(QStringLiteral("measurement/probe/") + QLatin1String(key)).toString();
    };
    EXPECT_EQ(value("dataLogDirectory"), QStringLiteral("/tmp/logs"));
    EXPECT_EQ(value("dataLogFormat"), QStringLiteral("binary"));
    EXPECT_EQ(value("dataLogRotateSeconds"), QStringLiteral("11"));
    EXPECT_EQ(value("dataLogMaximumDurationSeconds"), QStringLiteral("0"));
    EXPECT_EQ(value("timeTagsDirectory"), QStringLiteral("/tmp/tags"));
    EXPECT_EQ(value("timeTagsRotateSeconds"), QStringLiteral("12"));
    EXPECT_EQ(value("timeTagsMaximumDurationSeconds"), QStringLiteral("13"));
    EXPECT_EQ(tab.measurementLogExtension(), QStringLiteral("qornlog"));
}

TEST_F(TabPlotSettings, CancellingChangesNothing) {
    const PlotOptions look = tab.plotWidget()->plotOptions();
    const QJsonObject saving = tab.sharedConfig();
    PlotSettingsDialog& dialog = open();
    control<QSpinBox>(dialog, "fontSize").setValue(25);
    control<QLineEdit>(dialog, "logFolder").setText(QStringLiteral("/elsewhere"));
    dialog.reject();
    EXPECT_EQ(tab.plotWidget()->plotOptions(), look);
    EXPECT_EQ(tab.sharedConfig(), saving);
}

TEST_F(TabPlotSettings, ARunningLogIsLeftAloneUntilItsNextPart) {
    const QTemporaryDir first;
    const QTemporaryDir second;
    ASSERT_TRUE(tab.startLogInDirectory(first.path()));
    const QString path = tab.currentLogPath();
    PlotSettingsDialog& dialog = open();
    control<QLineEdit>(dialog, "logFolder").setText(second.path());
    dialog.accept();
    EXPECT_EQ(tab.currentLogPath(), path);
    tab.stopLog();
    ASSERT_TRUE(tab.startLog());
    EXPECT_TRUE(tab.currentLogPath().startsWith(second.path())) << tab.currentLogPath().toStdString();
}

TEST_F(TabPlotSettings, TheRecordingFlagIsTheToolbarsBusiness) {
    PlotSettingsDialog& dialog = open();
    tab.loadSharedConfig(
        {{QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("enabled"), true}}}});
    dialog.accept();
    EXPECT_TRUE(tab.timeTagRecordingEnabled());
}

} // namespace
} // namespace qorn::timetagger::gui
