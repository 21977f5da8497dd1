// Configuration files that no program of ours has written, or only half, and what becomes of them.
#include "ConfigurationFile.h"
#include "QtPrinting.h"
#include "TabOperation.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace qorn::timetagger::gui {
namespace {

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

QJsonObject counterEntry() {
    const auto tab = testing::makeTab(QStringLiteral("Counter"));
    return {{QStringLiteral("type"), tab->experimentType()},
            {QStringLiteral("config"), tab->saveConfig()},
            {QStringLiteral("sharedConfig"), tab->sharedConfig()}};
}

Configuration oneCounter() {
    Configuration configuration;
    configuration.ui = QJsonObject{{QStringLiteral("theme"), QStringLiteral("Bright")},
                                   {QStringLiteral("geometry"), QStringLiteral("AAAA")},
                                   {QStringLiteral("currentTab"), 0}};
    configuration.experiments = QJsonArray{counterEntry()};
    return configuration;
}

QByteArray textOf(const Configuration& configuration) {
    return QJsonDocument(QJsonObject{{QStringLiteral("version"), 1},
                                     {QStringLiteral("ui"), *configuration.ui},
                                     {QStringLiteral("experiments"), *configuration.experiments}})
        .toJson();
}

// --- reading -----------------------------------------------------------------------------------------------

TEST(HostileFile, CutOffAnywhereIsRefused) {
    const QByteArray text = textOf(oneCounter()).trimmed();
    ASSERT_TRUE(parseConfiguration(text));
    for (qsizetype length = 0; length < text.size(); ++length) {
        ASSERT_FALSE(parseConfiguration(text.first(length))) << length;
    }
}

TEST(HostileFile, WithAnyByteReplacedIsReadOrRefused) {
    const QByteArray text = textOf(oneCounter());
    int refused = 0;
    for (qsizetype place = 0; place < text.size(); ++place) {
        for (const char byte : {'\0', '"', '{', '\xff'}) {
            QByteArray broken = text;
            broken[place] = byte;
            const auto read = parseConfiguration(broken);
            refused += read ? 0 : 1;
            ASSERT_TRUE(!read || !read->ui || read->ui->size() <= 4);
        }
    }
    EXPECT_GT(refused, text.size());
}

TEST(HostileFile, NestedDeeplyIsRefused) {
    for (const char* opening : {"[", "{\"a\":"}) {
        for (const int depth : {2000, 1000000}) {
            const QByteArray nested = QByteArray(opening).repeated(depth);
            EXPECT_FALSE(parseConfiguration("{\"experiments\":" + nested));
            EXPECT_FALSE(parseConfiguration(nested));
        }
    }
    const QByteArray closed = QByteArray("[").repeated(100000) + QByteArray("]").repeated(100000);
    EXPECT_FALSE(parseConfiguration("{\"experiments\":" + closed + "}"));
}

TEST(HostileFile, OfMoreThanEightMebibytesIsRefused) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("large.json"));
    QByteArray text(8 * 1024 * 1024, ' ');
    text.replace(0, 2, "{}");
    write(path, text);
    EXPECT_TRUE(readConfiguration(path));
    write(path, text + ' ');
    EXPECT_FALSE(readConfiguration(path));
    ASSERT_TRUE(QFile(path).resize(qint64{1} << 40)); // takes no room
    EXPECT_FALSE(readConfiguration(path));
}

TEST(HostileFile, OfTooManyExperimentsGivesTheFirst) {
    QByteArray entries;
    for (int i = 0; i < 100000; ++i) {
        entries += "{\"type\":\"" + QByteArray::number(i) + "\"},";
    }
    entries.chop(1);
    const auto read = parseConfiguration("{\"experiments\":[" + entries + "]}");
    ASSERT_TRUE(read && read->experiments);
    ASSERT_EQ(read->experiments->size(), 256);
    EXPECT_EQ(read->experiments->last()[QLatin1String("type")].toString(), QStringLiteral("255"));
}

TEST(HostileFile, ThatIsNoFileIsRefusedAtOnce) {
    const QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_FALSE(readConfiguration(pipe)); // nobody writes into it
    EXPECT_FALSE(readConfiguration(QStringLiteral("/dev/zero")));
    EXPECT_FALSE(readConfiguration(folder.path()));
}

// --- replacing ---------------------------------------------------------------------------------------------

class EarlierFile : public ::testing::Test {
protected:
    EarlierFile() { QDir(folder).removeRecursively(); }
    ~EarlierFile() override { QDir(folder).removeRecursively(); }

    QStringList files() const { return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name); }

    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    const QString path = defaultConfigPathAfterRemoval();
    const QString kept = folder + QStringLiteral("/last_config.broken.json");

private:
    QString defaultConfigPathAfterRemoval() {
        QDir(folder).removeRecursively();
        return defaultConfigPath();
    }
};

struct EarlierRow {
    const char* name;
    QByteArray bytes;
    bool kept = true;
};

void PrintTo(const EarlierRow& row, std::ostream* out) {
    *out << row.name;
}

class EarlierContent : public EarlierFile, public ::testing::WithParamInterface<EarlierRow> {};

TEST_P(EarlierContent, IsKeptAsideWhenItWasNotTakenWhole) {
    defaultConfigPath(); // makes the folder
    write(path, GetParam().bytes);
    ASSERT_TRUE(writeConfiguration(path, oneCounter()));
    EXPECT_TRUE(readConfiguration(path)->experiments);
    if (GetParam().kept) {
        EXPECT_EQ(contentsOf(kept), GetParam().bytes);
        EXPECT_EQ(files().size(), 2);
    } else {
        EXPECT_EQ(files(), QStringList(QStringLiteral("last_config.json")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, EarlierContent,
    ::testing::Values(
        EarlierRow{"NoJson", "theme = Bright"}, EarlierRow{"CutOff", "{\"experiments\": [{\"type\": \"Coun"},
        EarlierRow{"TypingError", "{\"ui\": {\"theme\": \"Dark\",}}"}, EarlierRow{"AnArray", "[1]"},
        EarlierRow{"Large", QByteArray(9 * 1024 * 1024, ' ')},
        EarlierRow{"Deep", QByteArray("[").repeated(100000)}, EarlierRow{"UiAsText", "{\"ui\": \"Dark\"}"},
        EarlierRow{"ExperimentsAsObject", "{\"experiments\": {\"type\": \"Counter\"}}"},
        EarlierRow{"ExperimentAsText", "{\"experiments\": [\"Counter\"]}"},
        EarlierRow{"TypeAsNumber", "{\"experiments\": [{\"type\": 1}]}"},
        EarlierRow{"ConfigAsArray", "{\"experiments\": [{\"type\": \"Counter\", \"config\": []}]}"},
        EarlierRow{"SharedAsNull", "{\"experiments\": [{\"type\": \"Counter\", \"sharedConfig\": null}]}"},
        EarlierRow{"ThemeAsNumber", "{\"ui\": {\"theme\": 3}}"},
        EarlierRow{"SettingAsText",
                   "{\"experiments\": [{\"type\": \"Counter\", \"config\": {\"yMin\": \"0,5\"}}]}"},
        EarlierRow{"DeepSettingAsText", "{\"experiments\": [{\"type\": \"Counter\", \"sharedConfig\": "
                                        "{\"dataLog\": {\"rotateSeconds\": \"60\"}}}]}"},
        EarlierRow{"ArrayItemAsText", "{\"experiments\": [{\"type\": \"Counter\", \"config\": "
                                      "{\"coincidenceOffsetsNs\": [0, \"1\"]}}]}"},
        EarlierRow{"TooManyExperiments", "{\"experiments\": [" +
                                             QByteArray("{\"type\": \"Counter\"}, ").repeated(256) +
                                             "{\"type\": \"Counter\"}]}"},
        EarlierRow{"Empty", "", false}, EarlierRow{"Whole", textOf(oneCounter()), false},
        EarlierRow{"UiOnly", "{\"ui\": {\"theme\": \"Dark\"}}", false},
        EarlierRow{"OtherVersion", "{\"version\": \"2\", \"experiments\": []}", false},
        EarlierRow{"UnknownKeys", "{\"experiments\": [{\"type\": \"Counter\", \"config\": {\"zoom\": 3}}]}",
                   false},
        EarlierRow{"ClosedTabs", "{\"experiments\": [{\"type\": \"Frequency\", \"config\": {\"yMin\": 1}}]}",
                   false}),
    [](const auto& test) { return test.param.name; });

TEST_F(EarlierFile, KeptAsideGivesWayToALaterOne) {
    defaultConfigPath();
    for (const char* bytes : {"first", "second"}) {
        write(path, bytes);
        ASSERT_TRUE(writeConfiguration(path, oneCounter()));
    }
    EXPECT_EQ(contentsOf(kept), QByteArray("second"));
    ASSERT_TRUE(writeConfiguration(path, oneCounter()));
    EXPECT_EQ(contentsOf(kept), QByteArray("second")) << "nothing is wrong with the one between";
}

TEST_F(EarlierFile, BehindALinkIsKeptWhereItStands) {
    defaultConfigPath();
    const QTemporaryDir elsewhere;
    const QString target = elsewhere.filePath(QStringLiteral("settings.json"));
    write(target, "broken");
    ASSERT_TRUE(QFile::link(target, path));
    ASSERT_TRUE(writeConfiguration(path, oneCounter()));
    EXPECT_TRUE(QFileInfo(path).isSymLink());
    EXPECT_TRUE(readConfiguration(path));
    EXPECT_EQ(contentsOf(elsewhere.filePath(QStringLiteral("settings.broken.json"))), QByteArray("broken"));
}

TEST_F(EarlierFile, AtAPlaceThatTheOperatorChoseIsReplaced) {
    const QTemporaryDir elsewhere;
    write(elsewhere.filePath(QStringLiteral("chosen.json")), "broken");
    ASSERT_TRUE(writeConfiguration(elsewhere.filePath(QStringLiteral("chosen.json")), oneCounter()));
    EXPECT_EQ(QDir(elsewhere.path()).entryList(QDir::Files).size(), 1);
}

} // namespace
} // namespace qorn::timetagger::gui
