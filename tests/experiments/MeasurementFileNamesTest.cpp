#include "MeasurementFileNames.h"

#include "QtPrinting.h"

#include <QCoreApplication>
#include <QDir>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

struct KeyRow {
    const char* type;
    const char* key;
};

void PrintTo(const KeyRow& row, std::ostream* out) {
    *out << '"' << row.type << '"';
}

class SettingsKeys : public ::testing::TestWithParam<KeyRow> {};

TEST_P(SettingsKeys, AreLowerCaseWithSingleUnderscores) {
    EXPECT_EQ(settingsKeyFor(QString::fromUtf8(GetParam().type)), QString::fromUtf8(GetParam().key));
}

INSTANTIATE_TEST_SUITE_P(Types, SettingsKeys,
                         ::testing::Values(KeyRow{"Counter", "counter"}, KeyRow{"Time tags", "time_tags"},
                                           KeyRow{"Multi correlation", "multi_correlation"},
                                           KeyRow{"  g2 / HBT (fast) ", "g2_hbt_fast"},
                                           KeyRow{"_A__b_", "a_b"}, KeyRow{"", "measurement"},
                                           KeyRow{" .-", "measurement"}, KeyRow{"Zähler", "z_hler"},
                                           KeyRow{"123", "123"}));

struct NameRow {
    const char* stem;
    const char* serial;
    const char* extension;
    const char* fallback;
    int part;
    const char* name;
};

void PrintTo(const NameRow& row, std::ostream* out) {
    *out << row.name;
}

class FileNames : public ::testing::TestWithParam<NameRow> {};

TEST_P(FileNames, HoldStemSerialPartAndTime) {
    const NameRow& row = GetParam();
    MeasurementFileName name;
    name.stem = QString::fromUtf8(row.stem);
    name.serial = QString::fromUtf8(row.serial);
    name.extension = QString::fromUtf8(row.extension);
    name.fallbackExtension = QString::fromUtf8(row.fallback);
    name.part = row.part;
    name.stamp = QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7));
    EXPECT_EQ(makeMeasurementFilePath(QStringLiteral("/data/logs"), name),
              QStringLiteral("/data/logs/") + QString::fromUtf8(row.name));
}

INSTANTIATE_TEST_SUITE_P(
    Names, FileNames,
    ::testing::Values(
        NameRow{"Counter", "SIM00001", "csv", "csv", 0, "counter_SIM00001_20260304_050607.csv"},
        NameRow{"Counter", "", "csv", "csv", 0, "counter_20260304_050607.csv"},
        NameRow{"Counter", "   ", "csv", "csv", 0, "counter_20260304_050607.csv"},
        NameRow{"time_tags", "A B/1", "qornts", "csv", 1, "time_tags_A_B_1_part001_20260304_050607.qornts"},
        NameRow{"time_tags", "a-b_C", "qornts", "csv", 12, "time_tags_a-b_C_part012_20260304_050607.qornts"},
        NameRow{"x", "", "csv", "csv", 1234, "x_part1234_20260304_050607.csv"},
        NameRow{"x", "", "csv", "csv", -1, "x_20260304_050607.csv"},
        NameRow{" Multi  Correlation! ", "", "csv", "csv", 0, "multi_correlation_20260304_050607.csv"},
        NameRow{"", "S", "csv", "csv", 0, "measurement_S_20260304_050607.csv"},
        NameRow{"../..", "../x", "csv", "csv", 0, "measurement__x_20260304_050607.csv"},
        NameRow{"x", "", " .QornLog ", "csv", 0, "x_20260304_050607.qornlog"},
        NameRow{"x", "", "", " .Dat", 0, "x_20260304_050607.dat"},
        NameRow{"x", "", "   ", "", 0, "x_20260304_050607.csv"},
        NameRow{"x", "", "./-", "dat", 0, "x_20260304_050607.csv"},
        NameRow{"x", "", "a/b", "", 0, "x_20260304_050607.ab"}));

TEST(MeasurementFileNames, LogsStandBesideTheApplication) {
    const QString folder = defaultLogDirectory();
    EXPECT_EQ(QDir(folder).absolutePath(), QCoreApplication::applicationDirPath() + QStringLiteral("/logs"));
    EXPECT_TRUE(QDir(folder).exists());
}

} // namespace
} // namespace qorn::timetagger::gui
