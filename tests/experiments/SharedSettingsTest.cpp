#include "SharedSettings.h"

#include "MeasurementFileNames.h"
#include "QtPrinting.h"
#include "StoredSettings.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

const QString kTab = QStringLiteral("probe");

QString key(const char* name) {
    return QStringLiteral("measurement/probe/") + QString::fromUtf8(name);
}

SharedSettings unusual() {
    SharedSettings settings;
    settings.logDirectory = QStringLiteral("/logs/a");
    settings.logFormat = LogFormat::PackedBinary;
    settings.logRotateSeconds = 10;
    settings.logMaximumDurationSeconds = 20;
    settings.timeTagsEnabled = true;
    settings.timeTagsDirectory = QStringLiteral("/tags/b");
    settings.timeTagsRotateSeconds = 30;
    settings.timeTagsMaximumDurationSeconds = 40;
    return settings;
}

TEST(SharedSettings, HaveTheirDefaultsWithoutAStore) {
    const SharedSettings settings = SharedSettings::load(kTab);
    EXPECT_EQ(settings.logDirectory, defaultLogDirectory());
    EXPECT_EQ(settings.logFormat, LogFormat::Csv);
    EXPECT_EQ(settings.logRotateSeconds, 0);
    EXPECT_EQ(settings.logMaximumDurationSeconds, 0);
    EXPECT_FALSE(settings.timeTagsEnabled);
    EXPECT_EQ(settings.timeTagsDirectory, defaultLogDirectory());
    EXPECT_EQ(settings.timeTagsRotateSeconds, 0);
    EXPECT_EQ(settings.timeTagsMaximumDurationSeconds, 0);
}

TEST(SharedSettings, AreStoredUnderEightKeysOfTheTab) {
    unusual().save(kTab);
    const QSettings settings = testing::storedSettings();
    EXPECT_EQ(settings.value(key("dataLogDirectory")).toString(), QStringLiteral("/logs/a"));
    EXPECT_EQ(settings.value(key("dataLogFormat")).toString(), QStringLiteral("binary"));
    EXPECT_EQ(settings.value(key("dataLogRotateSeconds")).toInt(), 10);
    EXPECT_EQ(settings.value(key("dataLogMaximumDurationSeconds")).toInt(), 20);
    EXPECT_TRUE(settings.value(key("timeTagsEnabled")).toBool());
    EXPECT_EQ(settings.value(key("timeTagsDirectory")).toString(), QStringLiteral("/tags/b"));
    EXPECT_EQ(settings.value(key("timeTagsRotateSeconds")).toInt(), 30);
    EXPECT_EQ(settings.value(key("timeTagsMaximumDurationSeconds")).toInt(), 40);
    EXPECT_EQ(settings.allKeys().size(), 8);
    SharedSettings plain = unusual();
    plain.logFormat = LogFormat::Csv;
    plain.save(kTab);
    EXPECT_EQ(testing::storedSettings().value(key("dataLogFormat")).toString(), QStringLiteral("csv"));
}

TEST(SharedSettings, LeaveTheStoreAloneWhenTheyStandInItAlready) {
    unusual().save(kTab);
    const QString file = testing::storedSettings().fileName();
    QFile::remove(file + QStringLiteral(".link"));
    const auto path = QFileInfo(file).filesystemFilePath();
    std::filesystem::create_hard_link(path, QFileInfo(file + QStringLiteral(".link")).filesystemFilePath());
    unusual().save(kTab);
    SettingsStore::instance().finish();
    EXPECT_EQ(std::filesystem::hard_link_count(path), 2U) << "the file is another one, so written again";
    SharedSettings other = unusual();
    other.logRotateSeconds = 11;
    other.save(kTab);
    SettingsStore::instance().finish();
    EXPECT_EQ(std::filesystem::hard_link_count(path), 1U);
    EXPECT_EQ(SharedSettings::load(kTab).toJson(), other.toJson());
}

TEST(SharedSettings, ComeBackFromTheStoreForTheirTabOnly) {
    unusual().save(kTab);
    EXPECT_EQ(SharedSettings::load(kTab).toJson(), unusual().toJson());
    EXPECT_FALSE(SharedSettings::load(QStringLiteral("other")).timeTagsEnabled);
}

TEST(SharedSettings, NegativeStoredNumbersReadAsZero) {
    QSettings settings = testing::storedSettings();
    for (const char* name : {"dataLogRotateSeconds", "dataLogMaximumDurationSeconds", "timeTagsRotateSeconds",
                             "timeTagsMaximumDurationSeconds"}) {
        settings.setValue(key(name), -5);
    }
    const SharedSettings read = SharedSettings::load(kTab);
    EXPECT_EQ(read.logRotateSeconds, 0);
    EXPECT_EQ(read.logMaximumDurationSeconds, 0);
    EXPECT_EQ(read.timeTagsRotateSeconds, 0);
    EXPECT_EQ(read.timeTagsMaximumDurationSeconds, 0);
}

TEST(SharedSettings, TheOlderRecordingFolderCountsOnlyWithoutTheNewer) {
    QSettings settings = testing::storedSettings();
    settings.setValue(QStringLiteral("timeTags/outputFolder"), QStringLiteral("/old/place"));
    EXPECT_EQ(SharedSettings::load(kTab).timeTagsDirectory, QStringLiteral("/old/place"));
    settings.setValue(key("timeTagsDirectory"), QStringLiteral("/new/place"));
    EXPECT_EQ(SharedSettings::load(kTab).timeTagsDirectory, QStringLiteral("/new/place"));
}

TEST(SharedSettings, HaveTwoObjectsInConfigurationFiles) {
    const QJsonObject expected{
        {QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("directory"), QStringLiteral("/logs/a")},
                                                {QStringLiteral("format"), QStringLiteral("binary")},
                                                {QStringLiteral("rotateSeconds"), 10},
                                                {QStringLiteral("maximumDurationSeconds"), 20}}},
        {QStringLiteral("timeTagRecording"),
         QJsonObject{{QStringLiteral("enabled"), true},
                     {QStringLiteral("directory"), QStringLiteral("/tags/b")},
                     {QStringLiteral("rotateSeconds"), 30},
                     {QStringLiteral("maximumDurationSeconds"), 40}}}};
    EXPECT_EQ(unusual().toJson(), expected);
    SharedSettings read;
    read.takeJson(expected);
    EXPECT_EQ(read.toJson(), expected);
}

TEST(SharedSettings, TakeOnlyTheKeysThatArePresent) {
    SharedSettings settings = unusual();
    settings.takeJson({});
    settings.takeJson({{QStringLiteral("dataLog"), QJsonObject()}});
    EXPECT_EQ(settings.toJson(), unusual().toJson());
    settings.takeJson(
        {{QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("rotateSeconds"), 99}}},
         {QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("enabled"), false}}}});
    SharedSettings expected = unusual();
    expected.logRotateSeconds = 99;
    expected.timeTagsEnabled = false;
    EXPECT_EQ(settings.toJson(), expected.toJson());
}

TEST(SharedSettings, SecondsLoseTheirFractionAndHugeOnesStayLimits) {
    SharedSettings settings;
    settings.takeJson(
        {{QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("rotateSeconds"), 90.75},
                                                 {QStringLiteral("maximumDurationSeconds"), 1e300}}},
         {QStringLiteral("timeTagRecording"),
          QJsonObject{{QStringLiteral("rotateSeconds"), -0.5},
                      {QStringLiteral("maximumDurationSeconds"), 1e10}}}});
    EXPECT_EQ(settings.logRotateSeconds, 90);
    EXPECT_EQ(settings.logMaximumDurationSeconds, std::numeric_limits<int>::max());
    EXPECT_EQ(settings.timeTagsRotateSeconds, 0);
    EXPECT_EQ(settings.timeTagsMaximumDurationSeconds, std::numeric_limits<int>::max());
}

TEST(SharedSettings, NegativeNumbersBecomeZeroAndAnUnknownFormatCsv) {
    SharedSettings settings = unusual();
    settings.takeJson(
        {{QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("rotateSeconds"), -1},
                                                 {QStringLiteral("maximumDurationSeconds"), -2},
                                                 {QStringLiteral("format"), QStringLiteral("Binary")}}},
         {QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("rotateSeconds"), -3},
                                                          {QStringLiteral("maximumDurationSeconds"), -4}}}});
    EXPECT_EQ(settings.logFormat, LogFormat::Csv);
    EXPECT_EQ(settings.logRotateSeconds, 0);
    EXPECT_EQ(settings.logMaximumDurationSeconds, 0);
    EXPECT_EQ(settings.timeTagsRotateSeconds, 0);
    EXPECT_EQ(settings.timeTagsMaximumDurationSeconds, 0);
}

} // namespace
} // namespace qorn::timetagger::gui
