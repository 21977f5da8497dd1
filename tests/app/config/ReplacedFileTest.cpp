// What becomes of a configuration file, whatever it is, when another is written in its place.
#include "ConfigurationFile.h"
#include "FileContents.h"
#include "FileSizeLimit.h"
#include "QtPrinting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace qorn::timetagger::gui {
namespace {

using testing::contentsOf;
using testing::FileSizeLimit;
using testing::oneCounter;
using testing::textOf;
using testing::write;

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

TEST_F(EarlierFile, BehindALinkToNothingIsMadeThere) {
    defaultConfigPath();
    const QTemporaryDir elsewhere;
    const QString target = elsewhere.filePath(QStringLiteral("settings.json"));
    ASSERT_TRUE(QFile::link(target, path));
    ASSERT_TRUE(writeConfiguration(path, oneCounter()));
    EXPECT_TRUE(QFileInfo(path).isSymLink());
    EXPECT_TRUE(readConfiguration(target));
    QFile::remove(path);
    ASSERT_TRUE(QFile::link(elsewhere.filePath(QStringLiteral("no/such/folder.json")), path));
    EXPECT_FALSE(writeConfiguration(path, oneCounter()));
    QFile::remove(path);
    ASSERT_TRUE(QFile::link(path, path)); // leads to itself
    writeConfiguration(path, oneCounter());
    EXPECT_LE(files().size(), 1);
}

void expectEachFailingWriteToLeave(const QString& place, const QByteArray& bytes,
                                   const Configuration& configuration) {
    const qsizetype whole = textOf(configuration).size();
    for (const qsizetype room : {qsizetype{0}, qsizetype{1}, whole / 3, whole - 1}) {
        write(place, bytes);
        bool written = true;
        {
            const FileSizeLimit limit(static_cast<rlim_t>(room));
            written = writeConfiguration(place, configuration);
        }
        EXPECT_FALSE(written) << room;
        EXPECT_EQ(contentsOf(place), bytes) << room;
        EXPECT_EQ(QFileInfo(place).dir().entryList(QDir::Files | QDir::Hidden),
                  QStringList(QFileInfo(place).fileName()))
            << room;
    }
    EXPECT_TRUE(writeConfiguration(place, configuration)) << "with room enough";
}

// Whatever stands there, and however far the write comes: within what is written in one go, and beyond.
TEST_F(EarlierFile, SurvivesEachWriteThatFails) {
    Configuration large = oneCounter();
    for (int i = 0; i < 5000; ++i) {
        large.experiments->append(QStringLiteral("a long list of experiments"));
    }
    for (const QString& place : {path, folder + QStringLiteral("/chosen.json")}) {
        for (const QByteArray& bytes : {QByteArray("broken"), textOf(oneCounter())}) {
            for (const Configuration& configuration : {oneCounter(), large}) {
                QDir(folder).removeRecursively();
                defaultConfigPath();
                expectEachFailingWriteToLeave(place, bytes, configuration);
            }
        }
    }
}

TEST_F(EarlierFile, ThatIsAFolderIsLeftAlone) {
    defaultConfigPath();
    ASSERT_TRUE(QDir().mkpath(path));
    write(path + QStringLiteral("/inside"), "inside");
    EXPECT_FALSE(readConfiguration(path));
    EXPECT_FALSE(writeConfiguration(path, oneCounter()));
    EXPECT_EQ(contentsOf(path + QStringLiteral("/inside")), QByteArray("inside"));
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(EarlierFile, ThatCannotBeKeptAsideIsNotReplaced) {
    defaultConfigPath();
    write(path, "broken");
    ASSERT_TRUE(QDir().mkpath(kept + QStringLiteral("/a folder in its place")));
    EXPECT_FALSE(writeConfiguration(path, oneCounter()));
    EXPECT_EQ(contentsOf(path), QByteArray("broken"));
    EXPECT_EQ(files(), QStringList(QStringLiteral("last_config.json")));
}

// The superuser may do everything, and is somebody else meanwhile.
class WithoutPrivileges {
public:
    WithoutPrivileges() { EXPECT_TRUE(!isSuperuser || setresuid(kNobody, kNobody, 0) == 0); }
    ~WithoutPrivileges() { EXPECT_TRUE(!isSuperuser || setresuid(0, 0, 0) == 0); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

    static constexpr uid_t kNobody = 65534;

private:
    const bool isSuperuser = geteuid() == 0;
};

// Files that the operator owns, in a folder of the operator's, with rights that were taken away.
class EarlierFileWithRights : public EarlierFile {
protected:
    EarlierFileWithRights() {
        defaultConfigPath();
        for (QString above = folder; above.startsWith(QDir::homePath()); above = QFileInfo(above).path()) {
            EXPECT_EQ(chmod(QFile::encodeName(above).constData(), 0755), 0);
        }
    }

    void give(const QString& place, mode_t rights) {
        const QByteArray name = QFile::encodeName(place);
        EXPECT_TRUE(geteuid() != 0 || chown(name.constData(), WithoutPrivileges::kNobody, 0) == 0);
        EXPECT_EQ(chmod(name.constData(), rights), 0);
    }
};

struct RightsRow {
    const char* name;
    mode_t file;
    mode_t folder;
    bool canBeRead;
    bool canBeReplaced;
};

void PrintTo(const RightsRow& row, std::ostream* out) {
    *out << row.name;
}

class EarlierRights : public EarlierFileWithRights, public ::testing::WithParamInterface<RightsRow> {};

TEST_P(EarlierRights, SayWhetherItIsReadAndReplaced) {
    for (const QByteArray& bytes : {QByteArray("broken"), textOf(oneCounter())}) {
        const bool isWhole = bytes.startsWith('{');
        write(path, bytes);
        give(path, GetParam().file);
        give(folder, GetParam().folder);
        {
            const WithoutPrivileges operatorAlone;
            EXPECT_EQ(readConfiguration(path).has_value(), isWhole && GetParam().canBeRead);
            EXPECT_EQ(writeConfiguration(path, oneCounter()), GetParam().canBeReplaced);
        }
        give(folder, 0755);
        const bool isKept = GetParam().canBeReplaced && !(isWhole && GetParam().canBeRead);
        ASSERT_EQ(QFile::exists(kept), isKept) << "what could not be read may be of worth";
        give(isKept ? kept : path, 0600);
        EXPECT_EQ(contentsOf(isKept ? kept : path), bytes);
        EXPECT_EQ(files().size(), isKept ? 2 : 1);
        QFile::remove(kept);
    }
}

INSTANTIATE_TEST_SUITE_P(Rights, EarlierRights,
                         ::testing::Values(RightsRow{"All", 0600, 0755, true, true},
                                           RightsRow{"NoneToTheFile", 0, 0755, false, false},
                                           RightsRow{"ToReadTheFileOnly", 0400, 0755, true, false},
                                           RightsRow{"ToWriteTheFileOnly", 0200, 0755, false, true},
                                           RightsRow{"ToReadTheFolderOnly", 0600, 0555, true, false},
                                           RightsRow{"NoneToTheFolder", 0600, 0, false, false}),
                         [](const auto& test) { return test.param.name; });

TEST_F(EarlierFile, AtAPlaceThatTheOperatorChoseIsReplaced) {
    const QTemporaryDir elsewhere;
    write(elsewhere.filePath(QStringLiteral("chosen.json")), "broken");
    ASSERT_TRUE(writeConfiguration(elsewhere.filePath(QStringLiteral("chosen.json")), oneCounter()));
    EXPECT_EQ(QDir(elsewhere.path()).entryList(QDir::Files).size(), 1);
}

} // namespace
} // namespace qorn::timetagger::gui
