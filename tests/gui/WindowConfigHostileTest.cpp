// Starts on configuration files that are broken in every way, and what becomes of the file; and a whole
// workspace that comes back.
#include "ConfigurationFile.h"
#include "ExperimentTab.h"
#include "QtPrinting.h"
#include "TabOperation.h"
#include "WindowStage.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QScreen>
#include <QSettings>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QString keptPath() {
    return QFileInfo(gui::defaultConfigPath()).dir().filePath(QStringLiteral("last_config.broken.json"));
}

void exitWithoutAsking(WindowStage& stage, bool saveExperiments = true) {
    QSettings().setValue(QStringLiteral("exit/askSaveExperiments"), false);
    QSettings().setValue(QStringLiteral("exit/saveExperiments"), saveExperiments);
    EXPECT_TRUE(stage.window().close());
    QCoreApplication::processEvents();
    EXPECT_TRUE(stage.boxes().isEmpty());
    stage.destroyWindow();
}

// --- files that are not whole ------------------------------------------------------------------------------

struct BrokenRow {
    const char* name;
    QByteArray bytes;
    int tabs; // that a start makes of it
};

void PrintTo(const BrokenRow& row, std::ostream* out) {
    *out << row.name;
}

class StartOnABrokenFile : public ::testing::TestWithParam<BrokenRow> {
protected:
    ~StartOnABrokenFile() override { QFile::remove(keptPath()); }
};

TEST_P(StartOnABrokenFile, TakesWhatItCanAndNeverLosesTheFile) {
    WindowStage stage;
    writeFile(gui::defaultConfigPath(), GetParam().bytes);
    stage.openWindow();
    EXPECT_EQ(stage.tabs().count(), GetParam().tabs);
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_EQ(contentsOf(gui::defaultConfigPath()), GetParam().bytes) << "a start writes nothing";
    ASSERT_TRUE(stage.clickConnect());
    EXPECT_EQ(stage.tabs().count(), std::max(GetParam().tabs, 1));
    exitWithoutAsking(stage);
    EXPECT_EQ(contentsOf(keptPath()), GetParam().bytes);
    EXPECT_TRUE(gui::readConfiguration(gui::defaultConfigPath()));
}

INSTANTIATE_TEST_SUITE_P(
    Files, StartOnABrokenFile,
    ::testing::Values(
        BrokenRow{"HalfWritten", "{\"experiments\": [{\"type\": \"Counter\"}, {\"ty", 0},
        BrokenRow{"Deep", "{\"experiments\": " + QByteArray("[").repeated(1000000), 0},
        BrokenRow{"Huge", "{\"experiments\": [" + QByteArray("[],").repeated(4000000) + "[]]}", 0},
        BrokenRow{"ThousandsOfTabs",
                  "{\"experiments\": [" + QByteArray("{\"type\": \"x\"},").repeated(300) +
                      QByteArray("{\"type\": \"Time tags\"},").repeated(20000) + "{\"type\": \"Counter\"}]}",
                  0},
        BrokenRow{"UiOfNumbers", "{\"ui\": {\"theme\": 1, \"geometry\": 2, \"currentTab\": \"0\"}}", 0},
        BrokenRow{"ExperimentsAsText", "{\"experiments\": \"Counter\"}", 0},
        BrokenRow{"StrangeEntries",
                  "{\"experiments\": [null, 1, \"Counter\", [], {}, {\"type\": [\"Counter\"]}, "
                  "{\"type\": \"Time tags\", \"config\": 5, \"sharedConfig\": [1]}]}",
                  1}),
    [](const auto& test) { return test.param.name; });

TEST(WindowConfigHostile, AnExitWithoutExperimentsKeepsABrokenFileToo) {
    WindowStage stage;
    writeFile(gui::defaultConfigPath(), "{\"experiments\": [");
    stage.openWindow();
    exitWithoutAsking(stage, false);
    EXPECT_EQ(contentsOf(keptPath()), QByteArray("{\"experiments\": ["));
    QFile::remove(keptPath());
}

// --- the window's geometry ---------------------------------------------------------------------------------

struct GeometryRow {
    const char* name;
    QByteArray bytes;
};

void PrintTo(const GeometryRow& row, std::ostream* out) {
    *out << row.name;
}

class StrangeGeometry : public ::testing::TestWithParam<GeometryRow> {};

// A window's geometry as Qt writes it: magic number, version, frame, normal geometry, screen, states, width.
QByteArray geometryOf(QRect rect, qint32 screen, bool maximized, qint32 screenWidth) {
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_4_0);
    stream << quint32{0x1D9D0CB} << quint16{3} << quint16{0} << rect << rect << screen
           << static_cast<quint8>(maximized) << quint8{0} << screenWidth << rect;
    return bytes;
}

TEST_P(StrangeGeometry, LeavesAWindowThatCanBeUsed) {
    WindowStage stage;
    const QJsonObject ui{{QStringLiteral("geometry"), QString::fromLatin1(GetParam().bytes.toBase64())}};
    writeFile(gui::defaultConfigPath(), QJsonDocument(QJsonObject{{QStringLiteral("ui"), ui}}).toJson());
    stage.openWindow();
    const QSize size = stage.window().size();
    const QRect screen = stage.window().screen()->geometry();
    EXPECT_TRUE(screen.intersects(stage.window().geometry()));
    EXPECT_EQ(size.expandedTo(QSize(900, 600)), size);
    EXPECT_EQ(size.boundedTo(screen.size().expandedTo(QSize(1220, 760))), size)
        << "the screen or the default";
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, StrangeGeometry,
    ::testing::Values(GeometryRow{"Empty", ""}, GeometryRow{"Short", "x"},
                      GeometryRow{"Noise", QByteArray(100000, '\xff')},
                      GeometryRow{"NoSize", geometryOf({}, 0, false, 800)},
                      GeometryRow{"OnePixel", geometryOf({0, 0, 1, 1}, 0, false, 800)},
                      GeometryRow{"FarLeft", geometryOf({-50000, -50000, 1000, 700}, 0, false, 800)},
                      GeometryRow{"OnAScreenThatIsGone",
                                  geometryOf({50000, 50000, 1000, 700}, 7, false, 800)},
                      GeometryRow{"Vast", geometryOf({0, 0, 100000, 100000}, -3, false, 800)},
                      GeometryRow{"OddScreen", geometryOf({0, 0, 1000, 700}, 99, false, -1)},
                      GeometryRow{"CutOff", geometryOf({0, 0, 1000, 700}, 0, false, 800).first(20)}),
    [](const auto& test) { return test.param.name; });

// --- a whole workspace -------------------------------------------------------------------------------------

TEST(WindowConfigHostile, EveryTypeWithEveryControlChangedComesBackAtTheNextStart) {
    WindowStage stage;
    stage.openWindow();
    QList<QJsonObject> expected;
    for (const char* type : kTabTypes) {
        gui::ExperimentTab& tab = stage.addTab(type);
        changeEveryControl(tab);
        tab.loadSharedConfig(
            {{QStringLiteral("dataLog"),
              QJsonObject{{QStringLiteral("directory"), QStringLiteral("/logs/%1").arg(QLatin1String(type))},
                          {QStringLiteral("format"), QStringLiteral("binary")},
                          {QStringLiteral("rotateSeconds"), 60}}},
             {QStringLiteral("timeTagRecording"),
              QJsonObject{{QStringLiteral("enabled"), true},
                          {QStringLiteral("maximumDurationSeconds"), 9}}}});
        expected.append({{QStringLiteral("config"), tab.saveConfig()},
                         {QStringLiteral("sharedConfig"), tab.sharedConfig()},
                         {QStringLiteral("type"), tab.experimentType()}});
    }
    exitWithoutAsking(stage);
    QSettings().remove(QStringLiteral("measurement")); // the file alone brings it back
    stage.openWindow();
    ASSERT_EQ(stage.tabs().count(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i) {
        const gui::ExperimentTab& tab = stage.tab(static_cast<int>(i));
        EXPECT_EQ(textOf(tab.saveConfig()), textOf(expected[i].value(QStringLiteral("config")).toObject()));
        EXPECT_EQ(textOf(tab.sharedConfig()),
                  textOf(expected[i].value(QStringLiteral("sharedConfig")).toObject()));
        EXPECT_EQ(tab.experimentType(), expected[i].value(QStringLiteral("type")).toString());
    }
    const QString again = stage.folder.filePath(QStringLiteral("again.json"));
    ASSERT_TRUE(stage.window().saveConfigFile(again, true, true));
    EXPECT_EQ(gui::readConfiguration(again)->experiments,
              gui::readConfiguration(gui::defaultConfigPath())->experiments);
    EXPECT_FALSE(QFile::exists(keptPath()));
}

} // namespace
} // namespace qorn::testing
