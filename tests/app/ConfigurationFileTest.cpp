#include "ConfigurationFile.h"

#include "QtPrinting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

Configuration fullConfiguration() {
    Configuration configuration;
    configuration.ui =
        QJsonObject{{QStringLiteral("theme"), QStringLiteral("Bright")}, {QStringLiteral("currentTab"), 1}};
    configuration.experiments =
        QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("Counter")}},
                   QJsonObject{{QStringLiteral("type"), QString::fromUtf8("Zähler µ")}}};
    return configuration;
}

class ConfigurationFile : public ::testing::Test {
protected:
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("config.json"));
};

TEST_F(ConfigurationFile, StandsInTheConfigurationFolderWhichIsMade) {
    const QString location = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir(location).removeRecursively();
    EXPECT_EQ(defaultConfigPath(), location + QStringLiteral("/last_config.json"));
    EXPECT_TRUE(QFileInfo(location).isDir());
}

TEST_F(ConfigurationFile, GivesBackWhatWasWritten) {
    const Configuration written = fullConfiguration();
    ASSERT_TRUE(writeConfiguration(path, written));
    const std::optional<Configuration> read = readConfiguration(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->ui, written.ui);
    EXPECT_EQ(read->experiments, written.experiments);
}

TEST_F(ConfigurationFile, IsIndentedUtf8WithItsVersion) {
    ASSERT_TRUE(writeConfiguration(path, fullConfiguration()));
    const QByteArray text = contentsOf(path);
    EXPECT_TRUE(text.contains("\n    \""));
    EXPECT_TRUE(text.contains("Z\xc3\xa4hler \xc2\xb5"));
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    EXPECT_EQ(object.value(QStringLiteral("version")), QJsonValue(1));
    EXPECT_EQ(object.size(), 3);
}

TEST_F(ConfigurationFile, HoldsOnlyThePartsThatAreSaved) {
    for (const bool ui : {false, true}) {
        for (const bool experiments : {false, true}) {
            Configuration part = fullConfiguration();
            if (!ui) {
                part.ui.reset();
            }
            if (!experiments) {
                part.experiments.reset();
            }
            ASSERT_TRUE(writeConfiguration(path, part));
            const QJsonObject object = QJsonDocument::fromJson(contentsOf(path)).object();
            EXPECT_EQ(object.contains(QStringLiteral("ui")), ui);
            EXPECT_EQ(object.contains(QStringLiteral("experiments")), experiments);
            const auto read = readConfiguration(path);
            ASSERT_TRUE(read);
            EXPECT_EQ(read->ui, part.ui);
            EXPECT_EQ(read->experiments, part.experiments);
        }
    }
}

TEST_F(ConfigurationFile, AnEmptyListOfExperimentsIsNotAnAbsentOne) {
    Configuration empty;
    empty.experiments = QJsonArray();
    ASSERT_TRUE(writeConfiguration(path, empty));
    const auto read = readConfiguration(path);
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->ui);
    ASSERT_TRUE(read->experiments);
    EXPECT_TRUE(read->experiments->isEmpty());
}

TEST_F(ConfigurationFile, ReplacesAnEarlierFileAsAWhole) {
    write(path, QByteArray(100000, 'x'));
    ASSERT_TRUE(writeConfiguration(path, fullConfiguration()));
    EXPECT_TRUE(readConfiguration(path));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST_F(ConfigurationFile, AVersionOfAnotherNumberIsReadLikeAnyOther) {
    write(path, R"({"version": 99, "ui": {"theme": "Bright"}})");
    const auto read = readConfiguration(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->ui->value(QStringLiteral("theme")).toString(), QStringLiteral("Bright"));
}

struct BrokenFile {
    const char* name;
    QByteArray bytes;
};

void PrintTo(const BrokenFile& row, std::ostream* out) {
    *out << row.name;
}

class BrokenConfigurationFile : public ConfigurationFile, public ::testing::WithParamInterface<BrokenFile> {};

TEST_P(BrokenConfigurationFile, IsRefused) {
    write(path, GetParam().bytes);
    EXPECT_FALSE(readConfiguration(path));
}

INSTANTIATE_TEST_SUITE_P(Files, BrokenConfigurationFile,
                         ::testing::Values(BrokenFile{"Empty", ""}, BrokenFile{"NoJson", "hello"},
                                           BrokenFile{"AnArray", "[1, 2]"}, BrokenFile{"ANumber", "7"},
                                           BrokenFile{"CutOff", "{\"version\": 1, \"ui\": {"},
                                           BrokenFile{"TrailingText", "{} x"},
                                           BrokenFile{"Binary", QByteArray(256, '\0')}),
                         [](const auto& test) { return test.param.name; });

TEST_F(ConfigurationFile, AMissingFileIsRefused) {
    EXPECT_FALSE(readConfiguration(folder.filePath(QStringLiteral("missing.json"))));
    EXPECT_FALSE(readConfiguration(folder.path()));
}

TEST_F(ConfigurationFile, PartsOfAWrongTypeCountAsAbsent) {
    write(path, R"({"version": "one", "ui": [1], "experiments": {"type": "Counter"}})");
    const auto read = readConfiguration(path);
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->ui);
    EXPECT_FALSE(read->experiments);
}

TEST_F(ConfigurationFile, AFailureToWriteChangesNothingOnDisk) {
    EXPECT_FALSE(
        writeConfiguration(folder.filePath(QStringLiteral("no/such/folder.json")), fullConfiguration()));
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
    EXPECT_FALSE(writeConfiguration(folder.path(), fullConfiguration()));
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

} // namespace
} // namespace qorn::timetagger::gui
