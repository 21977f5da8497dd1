// Starts on configuration files that are broken in every way, and what becomes of the file; and a whole
// workspace that comes back.
#include "ConfigurationFile.h"
#include "ExperimentTab.h"
#include "QtPrinting.h"
#include "StoredSettings.h"
#include "TabOperation.h"
#include "WidgetFinder.h"
#include "WindowStage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMessageBox>
#include <QScreen>

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
    storedSettings().setValue(QStringLiteral("exit/askSaveExperiments"), false);
    storedSettings().setValue(QStringLiteral("exit/saveExperiments"), saveExperiments);
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
        BrokenRow{"Utf16", QByteArray("\xff\xfe{\0\"\0u\0i\0\"\0:\0{\0}\0}\0", 20), 0},
        BrokenRow{"Latin1",
                  "{\"ui\": {\"theme\": \"d\xfcster\"}, \"experiments\": [{\"type\": \"Counter\"}]}", 0},
        BrokenRow{"ByteOrderMark", "\xef\xbb\xbf{\"experiments\": [{\"type\": \"Counter\"}, {\"type\": 5}]}",
                  1},
        BrokenRow{
            "SameKeyTwice",
            "{\"experiments\": [], \"experiments\": [{\"type\": \"Time tags\", \"type\": \"Frequency\", "
            "\"config\": {\"channel\": 2, \"channel\": \"3\"}}]}",
            1},
        BrokenRow{"UiOfNumbers", "{\"ui\": {\"theme\": 1, \"geometry\": 2, \"currentTab\": \"0\"}}", 0},
        BrokenRow{"ExperimentsAsText", "{\"experiments\": \"Counter\"}", 0},
        BrokenRow{"StrangeEntries",
                  "{\"experiments\": [null, 1, \"Counter\", [], {}, {\"type\": [\"Counter\"]}, "
                  "{\"type\": \"Time tags\", \"config\": 5, \"sharedConfig\": [1]}]}",
                  1}),
    [](const auto& test) { return test.param.name; });

// No file that could be read, and none that could be replaced.
class StartOnNoFile : public ::testing::TestWithParam<const char*> {
protected:
    ~StartOnNoFile() override { clear(); }

    static void clear() {
        const QString path = gui::defaultConfigPath();
        QFile::remove(path);
        QDir(path).removeRecursively();
    }

    static void makePlace(const QString& kind) {
        clear();
        const QString path = gui::defaultConfigPath();
        if (kind == QLatin1String("Folder")) {
            ASSERT_TRUE(QDir().mkpath(path + QStringLiteral("/inside")));
        } else if (kind == QLatin1String("LinkToAFolder")) {
            ASSERT_TRUE(QFile::link(QDir::tempPath(), path));
        } else {
            ASSERT_TRUE(QFile::link(QStringLiteral("/no/such/folder/config.json"), path));
        }
    }
};

TEST_P(StartOnNoFile, HasTheDefaultsAndAnExitSaysThatNothingWasSaved) {
    WindowStage stage;
    makePlace(QString::fromUtf8(GetParam()));
    const QFileInfo place(gui::defaultConfigPath());
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Counter 1"));
    EXPECT_TRUE(stage.boxes().isEmpty());
    QString told;
    answerNextDialog([&](QWidget& dialog) {
        auto& box = dynamic_cast<QMessageBox&>(dialog);
        told = box.text();
        box.accept();
    });
    exitWithoutAsking(stage);
    EXPECT_EQ(told, QStringLiteral("Could not write %1").arg(place.filePath()));
    EXPECT_TRUE(QFileInfo(place.filePath()).isDir() || QFileInfo(place.filePath()).isSymLink());
}

INSTANTIATE_TEST_SUITE_P(Places, StartOnNoFile, ::testing::Values("Folder", "LinkToAFolder", "LinkToNowhere"),
                         [](const auto& test) { return test.param; });

// --- values of the UI part ---------------------------------------------------------------------------------

TEST(WindowConfigHostile, UiValuesOfAWrongTypeLeaveTheWindow) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Time tags");
    stage.window().applyTheme(QStringLiteral("Bright"));
    const QString path = stage.folder.filePath(QStringLiteral("ui.json"));
    const auto state = [&] {
        EXPECT_TRUE(stage.window().saveConfigFile(path, true, false));
        return contentsOf(path);
    };
    const QByteArray before = state();
    const char* const strange[] = {"null", "true",   "false",     "[]",          "{}",         "[\"Dark\"]",
                                   "0.5",  "-1e300", "1e300",     "2147483648",  "-1",         "[[[0]]]",
                                   "2",    "1e18",   "{\"0\":0}", "99999999999", "-2147483649"};
    for (const char* key : {"theme", "geometry", "currentTab"}) {
        for (const char* value : strange) {
            writeFile(path, QByteArray("{\"ui\": {\"") + key + "\": " + value + "}}");
            EXPECT_TRUE(stage.window().loadConfigFile(path));
            ASSERT_EQ(state(), before) << key << ' ' << value;
        }
    }
    for (const char* geometry : {"", "%%%", "AAAA", "\\u0000\\ud800", "\\u00e4\\u4e2d"}) {
        writeFile(path, QByteArray("{\"ui\": {\"geometry\": \"") + geometry + "\"}}");
        EXPECT_TRUE(stage.window().loadConfigFile(path));
        ASSERT_EQ(state(), before) << geometry;
    }
}

TEST(WindowConfigHostile, AFileWithTheExperimentsOnlyLeavesTheUi) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.window().applyTheme(QStringLiteral("Classic"));
    const QByteArray geometry = stage.window().saveGeometry();
    const QString path = stage.folder.filePath(QStringLiteral("tabs.json"));
    writeFile(path, R"({"experiments": [{"type": "Time tags"}, {"type": "Frequency"}]})");
    EXPECT_TRUE(stage.window().loadConfigFile(path));
    EXPECT_EQ(stage.tabs().count(), 2);
    EXPECT_TRUE(stage.menuAction("Classic")->isChecked());
    EXPECT_EQ(stage.window().saveGeometry(), geometry);
    writeFile(path, R"({"experiments": []})");
    EXPECT_TRUE(stage.window().loadConfigFile(path));
    EXPECT_EQ(stage.tabs().count(), 0);
}

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
                      GeometryRow{"HeaderOnly", geometryOf({0, 0, 1000, 700}, 0, false, 800).first(8)},
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
    storedSettings().remove(QStringLiteral("measurement")); // the file alone brings it back
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
